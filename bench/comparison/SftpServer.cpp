// SFTP, version 3, used like OpenSSH's own client: it waits for the reply to each request, except
// that it sends several reads or writes of one file at once. The measured time includes composing
// the requests, since most of them contain a handle from an earlier reply.

#include "Server.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace connector::bench {

namespace {

enum class Type : unsigned char {
  init = 1,
  open = 3,
  close = 4,
  read = 5,
  write = 6,
  fstat = 8,
  fsetstat = 10,
  opendir = 11,
  readdir = 12,
  remove = 13,
  stat = 17,
  rename = 18,
  status = 101,
  handle = 102,
  data = 103,
  name = 104,
  attributes = 105,
  extended = 200,
};

using Status = std::uint32_t;

// Flags of opening a file, flags of the attributes that are present, and status codes.
constexpr std::uint32_t READ = 1;
constexpr std::uint32_t WRITE = 2;
constexpr std::uint32_t CREATE = 8;
constexpr std::uint32_t TRUNCATE = 16;
constexpr std::uint32_t EXCLUSIVE = 32;
constexpr std::uint32_t SIZE = 1;
constexpr std::uint32_t OWNER = 2;
constexpr std::uint32_t PERMISSIONS = 4;
constexpr std::uint32_t TIMES = 8;
constexpr Status OK = 0;
constexpr Status END_OF_FILE = 1;
constexpr Status NO_SUCH_FILE = 2;

constexpr std::uint32_t NO_ATTRIBUTES = 0;
constexpr std::uint32_t PIECE = 32768;
constexpr std::uint64_t IN_FLIGHT = 64;

void put(std::string& out, std::uint32_t value) {
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    out += static_cast<char>(static_cast<unsigned char>(value >> shift));
  }
}

void put(std::string& out, std::uint64_t value) {
  put(out, static_cast<std::uint32_t>(value >> 32U));
  put(out, static_cast<std::uint32_t>(value));
}

void put(std::string& out, std::string_view text) {
  put(out, static_cast<std::uint32_t>(text.size()));
  out += text;
}

/// Appends a packet to `out`, without its last `following` bytes, which are sent separately.
template <typename... Fields>
void putPacket(std::string& out, std::size_t following, Type type, std::uint32_t request,
               const Fields&... fields) {
  const std::size_t start = out.size();
  put(out, std::uint32_t{0});
  const std::size_t bodyStart = out.size();
  out += static_cast<char>(type);
  put(out, request);
  (put(out, fields), ...);
  std::string length;
  put(length, static_cast<std::uint32_t>(out.size() - bodyStart + following));
  out.replace(start, length.size(), length);
}

class Reader {
public:
  explicit Reader(std::string_view bytes)
      : left_(bytes) {}

  std::uint64_t number(std::size_t bytes) {
    std::uint64_t value = 0;
    for (const char byte : take(bytes)) {
      value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
  }

  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }

  std::string_view text() { return take(u32()); }

  std::string_view take(std::size_t size) {
    if (size > left_.size()) {
      throw WrongReply("a packet is too short");
    }
    const std::string_view taken = left_.substr(0, size);
    left_.remove_prefix(size);
    return taken;
  }

private:
  std::string_view left_;
};

struct Attributes {
  std::uint64_t size = 0;
  std::uint32_t permissions = 0;
  std::uint32_t accessed = 0;
  std::uint32_t modified = 0;
};

/// OpenSSH always sends exactly these attributes.
Attributes readAttributes(Reader& reader) {
  if (reader.u32() != (SIZE | OWNER | PERMISSIONS | TIMES)) {
    throw WrongReply("replies with unexpected attributes");
  }
  Attributes attributes;
  attributes.size = reader.number(8);
  reader.take(8);
  attributes.permissions = reader.u32();
  attributes.accessed = reader.u32();
  attributes.modified = reader.u32();
  return attributes;
}

struct Reply {
  Type type = Type::status;
  std::uint32_t request = 0;
  std::string_view body;
};

class SftpServer : public Server {
public:
  explicit SftpServer(Waiting waiting)
      : Server("sftp-server")
      , child_("/usr/lib/openssh/sftp-server", {}, waiting)
      , buffer_(32U << 20U) {
    constexpr std::uint32_t version = 3;
    putPacket(out_, 0, Type::init, version);
    child_.send(out_);
    if (receive().request != version) {
      throw WrongReply("speaks another version");
    }
  }

  std::function<void()> prepare(const Batch& batch) override {
    return [this, &batch] {
      for (const Job& job : batch.jobs) {
        received_ = 0;
        read_ = 0;
        work(batch, job);
      }
    };
  }

  [[nodiscard]] Decoded decode(const Batch& batch) const override {
    Decoded decoded;
    if (batch.verb == Verb::open || batch.verb == Verb::openTogether) {
      for (const std::string_view piece : contents_) {
        decoded.contents += piece;
      }
      decoded.size = decoded.contents.size();
      return decoded;
    }
    if (batch.verb != Verb::list) {
      decoded.size = described_.size;
      return decoded;
    }
    for (Reader names : names_) {
      for (auto left = names.u32(); left > 0; --left) {
        const std::string name(names.text());
        names.text(); // the line for display
        const std::uint64_t size = readAttributes(names).size;
        if (name.front() != '.') {
          decoded.sizes[name] = size;
        }
      }
    }
    return decoded;
  }

private:
  void work(const Batch& batch, const Job& job) {
    switch (batch.verb) {
    case Verb::open:
      return open(job.path);
    case Verb::openTogether:
      return openTogether(job.path);
    case Verb::list:
      return list(job.path);
    case Verb::create:
      write(job.path, WRITE | CREATE | EXCLUSIVE, batch.contents);
      break;
    case Verb::update:
      attributes(ask(Type::stat, job.path)); // throws if the file is missing
      write(job.path, WRITE | TRUNCATE, batch.contents);
      break;
    case Verb::rename:
      requireStatus(ask(Type::rename, job.path, job.after));
      break;
    case Verb::move:
      move(job.path, job.after);
      break;
    case Verb::remove:
      requireStatus(ask(Type::remove, job.path));
      requireStatus(ask(Type::stat, job.path), NO_SUCH_FILE);
      described_ = {};
      return;
    }
    described_ = attributes(ask(Type::stat, job.after));
  }

  void open(const std::string& path) {
    const auto file = handle(ask(Type::open, path, READ, NO_ATTRIBUTES));
    receiveContents(file, attributes(ask(Type::fstat, file)).size);
    requireStatus(ask(Type::close, file));
  }

  /// Call for a file that fits into one piece.
  void openTogether(const std::string& path) {
    const auto file = handle(ask(Type::open, path, READ, NO_ATTRIBUTES));
    out_.clear();
    putPacket(out_, 0, Type::read, ++lastRequest_, file, std::uint64_t{0}, PIECE);
    putPacket(out_, 0, Type::close, ++lastRequest_, file);
    child_.send(out_);
    contents_ = {data(receive(lastRequest_ - 1))};
    requireStatus(receive(lastRequest_));
  }

  void list(const std::string& path) {
    const auto directory = handle(ask(Type::opendir, path));
    names_.clear();
    Reply reply = ask(Type::readdir, directory);
    for (; reply.type != Type::status; reply = ask(Type::readdir, directory)) {
      names_.emplace_back(expect(reply, Type::name));
    }
    requireStatus(reply, END_OF_FILE);
    requireStatus(ask(Type::close, directory));
  }

  void write(const std::string& path, std::uint32_t flags, const std::string& contents) {
    const auto file = handle(ask(Type::open, path, flags, NO_ATTRIBUTES));
    sendContents(file, contents);
    requireStatus(ask(Type::close, file));
  }

  void move(const std::string& from, const std::string& to) {
    const auto source = handle(ask(Type::open, from, READ, NO_ATTRIBUTES));
    const Attributes found = attributes(ask(Type::fstat, source));
    const auto target =
        handle(ask(Type::open, to, WRITE | CREATE | EXCLUSIVE, PERMISSIONS, found.permissions));
    constexpr std::uint64_t start = 0;
    constexpr std::uint64_t toTheEnd = 0;
    requireStatus(
        ask(Type::extended, std::string_view("copy-data"), source, start, toTheEnd, target, start));
    requireStatus(ask(Type::fsetstat, target, TIMES, found.accessed, found.modified));
    requireStatus(ask(Type::close, source));
    requireStatus(ask(Type::close, target));
    requireStatus(ask(Type::remove, from));
  }

  /// Sends the next requests when half of those in flight are answered, so that it writes seldom.
  void receiveContents(std::string_view file, std::uint64_t size) {
    const std::uint32_t firstRequest = lastRequest_ + 1;
    std::uint64_t asked = 0;
    contents_.clear();
    for (std::uint64_t got = 0; got < size; got += contents_.back().size()) {
      if (asked < size && asked - got <= IN_FLIGHT / 2 * PIECE) {
        out_.clear();
        for (; asked < std::min(size, got + IN_FLIGHT * PIECE); asked += PIECE) {
          putPacket(out_, 0, Type::read, ++lastRequest_, file, asked, PIECE);
        }
        child_.send(out_);
      }
      const std::uint32_t request = firstRequest + static_cast<std::uint32_t>(contents_.size());
      contents_.push_back(data(receive(request)));
      if (contents_.back().size() != std::min<std::uint64_t>(PIECE, size - got)) {
        throw WrongReply("replies with less than a piece");
      }
    }
  }

  void sendContents(std::string_view file, std::string_view contents) {
    std::uint32_t acknowledged = lastRequest_;
    for (std::uint64_t offset = 0; offset < contents.size(); offset += PIECE) {
      if (lastRequest_ - acknowledged == IN_FLIGHT) {
        requireStatus(receive(++acknowledged));
      }
      const std::string_view piece = contents.substr(offset, PIECE);
      out_.clear();
      putPacket(out_, piece.size(), Type::write, ++lastRequest_, file, offset,
                static_cast<std::uint32_t>(piece.size()));
      child_.send(out_, piece);
    }
    while (acknowledged != lastRequest_) {
      requireStatus(receive(++acknowledged));
    }
  }

  template <typename... Fields>
  Reply ask(Type type, const Fields&... fields) {
    out_.clear();
    putPacket(out_, 0, type, ++lastRequest_, fields...);
    child_.send(out_);
    return receive(lastRequest_);
  }

  Reply receive(std::uint32_t request) {
    const Reply reply = receive();
    if (reply.request != request) {
      throw WrongReply("replies to another request");
    }
    return reply;
  }

  /// The reply points into the buffer, which is reused only for the next file.
  Reply receive() {
    const std::size_t size = Reader(receivedBytes(4)).u32();
    Reader packet(receivedBytes(size));
    const auto type = static_cast<Type>(packet.number(1));
    const std::uint32_t request = packet.u32();
    return {type, request, packet.take(size - 5)};
  }

  std::string_view receivedBytes(std::size_t size) {
    while (received_ - read_ < size) {
      received_ += child_.receive(&buffer_.at(received_), buffer_.size() - received_);
    }
    read_ += size;
    return {&buffer_[read_ - size], size};
  }

  static std::string_view expect(const Reply& reply, Type type) {
    if (reply.type != type) {
      throw WrongReply("replies with packet type " + std::to_string(static_cast<int>(reply.type)));
    }
    return reply.body;
  }

  static void requireStatus(const Reply& reply, Status status = OK) {
    const auto found = Reader(expect(reply, Type::status)).u32();
    if (found != status) {
      throw WrongReply("replies with status " + std::to_string(found));
    }
  }

  static std::string_view handle(const Reply& reply) {
    return Reader(expect(reply, Type::handle)).text();
  }

  static std::string_view data(const Reply& reply) {
    return Reader(expect(reply, Type::data)).text();
  }

  static Attributes attributes(const Reply& reply) {
    Reader reader(expect(reply, Type::attributes));
    return readAttributes(reader);
  }

  Child child_;
  std::vector<char> buffer_;
  std::size_t received_ = 0;
  std::size_t read_ = 0;
  std::string out_;
  std::uint32_t lastRequest_ = 0;
  std::vector<std::string_view> contents_; // the pieces, in the buffer
  std::vector<Reader> names_;
  Attributes described_;
};

} // namespace

std::unique_ptr<Server> startSftpServer(Waiting waiting) {
  return std::make_unique<SftpServer>(waiting);
}

} // namespace connector::bench
