#pragma once

// The kinds of field that a message has on the wire. A message states its fields once, as a list of
// these (FieldLists.h); writing and reading it are two walks over that list.

#include "JsonValues.h"

#include <utility>

namespace connector::file::v1 {

/// What a field gives to the message's constructor when it is no argument of it.
struct NoArgument {};

/// Written and read; an argument of the constructor.
template <typename M, typename T>
struct Value {
  const char* key;
  T M::*member;

  void write(Object& object, M& message) const { v1::write(object, key, message.*member); }

  [[nodiscard]] T read(const Object& object) const { return readOr<T>(object, key, T()); }

  void assign(const Object&, M&) const {}
};

/// A Value with a default of its own.
template <typename M>
struct TextOr {
  const char* key;
  std::string M::*member;
  const char* defaultValue;

  void write(Object& object, M& message) const { v1::write(object, key, message.*member); }

  [[nodiscard]] std::string read(const Object& object) const {
    return readOr<std::string>(object, key, defaultValue);
  }

  void assign(const Object&, M&) const {}
};

/// What a response answers with: as Value, but not written when it is empty and there is a fault.
template <typename M, typename T>
struct Payload {
  const char* key;
  T M::*member;

  void write(Object& object, M& message) const {
    if (!locationOf(message.*member).empty() || message.getFaults().empty()) {
      v1::write(object, key, message.*member);
    }
  }

  [[nodiscard]] T read(const Object& object) const { return readOr<T>(object, key, T()); }

  void assign(const Object&, M&) const {}

private:
  static const std::u16string& locationOf(const FileInfo& info) { return info.getLocation(); }

  static const std::u16string& locationOf(const File& file) {
    return file.getFileInfo().getLocation();
  }
};

/// Written only: an argument of the constructor that is empty in a message that was read.
template <typename M, typename T>
struct WrittenOnly {
  const char* key;
  T M::*member;

  void write(Object& object, M& message) const { v1::write(object, key, message.*member); }

  [[nodiscard]] T read(const Object&) const { return T(); }

  void assign(const Object&, M&) const {}
};

/// Written and read, but set after construction; absent, it keeps what the constructor gave it.
template <typename M, typename T>
struct SetAfterwards {
  const char* key;
  T M::*member;

  void write(Object& object, M& message) const { v1::write(object, key, message.*member); }

  [[nodiscard]] NoArgument read(const Object&) const { return {}; }

  void assign(const Object& object, M& message) const {
    message.*member = readOr<T>(object, key, message.*member);
  }
};

/// Written only, and no argument of the constructor.
template <typename M, typename T>
struct NeverRead {
  const char* key;
  T M::*member;

  void write(Object& object, M& message) const { v1::write(object, key, message.*member); }

  [[nodiscard]] NoArgument read(const Object&) const { return {}; }

  void assign(const Object&, M&) const {}
};

/// The first fault once more, under a key of its own, when there is one. Written only.
struct FirstFault {
  const char* key;

  template <typename M>
  void write(Object& object, const M& message) const {
    if (!message.getFaults().empty()) {
      v1::write(object, key, message.getFaults().front());
    }
  }

  [[nodiscard]] static NoArgument read(const Object&) { return {}; }

  template <typename M>
  void assign(const Object&, M&) const {}
};

template <typename M, typename T>
Value(const char*, T M::*) -> Value<M, T>;
template <typename M>
TextOr(const char*, std::string M::*, const char*) -> TextOr<M>;
template <typename M, typename T>
Payload(const char*, T M::*) -> Payload<M, T>;
template <typename M, typename T>
WrittenOnly(const char*, T M::*) -> WrittenOnly<M, T>;
template <typename M, typename T>
SetAfterwards(const char*, T M::*) -> SetAfterwards<M, T>;
template <typename M, typename T>
NeverRead(const char*, T M::*) -> NeverRead<M, T>;

} // namespace connector::file::v1
