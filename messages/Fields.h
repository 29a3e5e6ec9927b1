#pragma once

// The kinds of field in a message's JSON form. MessageList.h lists the fields of each message once;
// writing and reading iterate over that list. `description` is one line for JSON Schema.
//
// `read` returns the argument for the constructor, or NoArgument. `assign` sets a member after the
// construction.
//
//                    constructor argument   written              read
//   Argument         yes                    yes                  yes
//   ArgumentOr       yes                    yes                  yes, with its own default
//   ResponseValue    yes                    unless empty and     yes
//                                           there is a fault
//   OutputArgument   yes                    yes                  no
//   Member           no                     yes                  yes
//   OutputMember     no                     yes                  no
//   FirstFault       no                     if there is a fault  no

#include "JsonValues.h"

#include <utility>

namespace connector::file::v1::wire {

struct NoArgument {};

/// The usual kind: an argument of the message's constructor. If the key is absent or null, the
/// argument is `T()`.
template <typename M, typename T>
struct Argument {
  const char* key;
  T M::*member;
  const char* description;

  void write(Object& object, M& message) const { wire::write(object, key, message.*member); }

  [[nodiscard]] T read(const Object& object) const { return readOr<T>(object, key, T()); }

  void assign(const Object&, M&) const {}
};

/// An argument that is `defaultValue` if the key is absent or null.
template <typename M>
struct ArgumentOr {
  const char* key;
  std::string M::*member;
  const char* description;
  const char* defaultValue;

  void write(Object& object, M& message) const { wire::write(object, key, message.*member); }

  [[nodiscard]] std::string read(const Object& object) const {
    return readOr<std::string>(object, key, defaultValue);
  }

  void assign(const Object&, M&) const {}
};

/// The File or FileInfo that an operation returned. Not written if its location is empty and the
/// response has a fault.
template <typename M, typename T>
struct ResponseValue {
  const char* key;
  T M::*member;
  const char* description;

  void write(Object& object, M& message) const {
    if (!locationOf(message.*member).empty() || message.getFaults().empty()) {
      wire::write(object, key, message.*member);
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

/// An argument that is written but not read: the constructor gets `T()`.
template <typename M, typename T>
struct OutputArgument {
  const char* key;
  T M::*member;
  const char* description;

  void write(Object& object, M& message) const { wire::write(object, key, message.*member); }

  [[nodiscard]] T read(const Object&) const { return T(); }

  void assign(const Object&, M&) const {}
};

/// A member that is set after construction. If the key is absent or null, the constructor's value
/// stays.
template <typename M, typename T>
struct Member {
  const char* key;
  T M::*member;
  const char* description;

  void write(Object& object, M& message) const { wire::write(object, key, message.*member); }

  [[nodiscard]] NoArgument read(const Object&) const { return {}; }

  void assign(const Object& object, M& message) const {
    message.*member = readOr<T>(object, key, message.*member);
  }
};

/// A member that is written but not read. When a message is read, the constructor's value stays.
template <typename M, typename T>
struct OutputMember {
  const char* key;
  T M::*member;
  const char* description;

  void write(Object& object, M& message) const { wire::write(object, key, message.*member); }

  [[nodiscard]] NoArgument read(const Object&) const { return {}; }

  void assign(const Object&, M&) const {}
};

/// Writes the first fault a second time, under its own key.
struct FirstFault {
  const char* key;
  const char* description;

  template <typename M>
  void write(Object& object, const M& message) const {
    if (!message.getFaults().empty()) {
      wire::write(object, key, message.getFaults().front());
    }
  }

  [[nodiscard]] static NoArgument read(const Object&) { return {}; }

  template <typename M>
  void assign(const Object&, M&) const {}
};

template <typename M, typename T>
Argument(const char*, T M::*, const char*) -> Argument<M, T>;
template <typename M>
ArgumentOr(const char*, std::string M::*, const char*, const char*) -> ArgumentOr<M>;
template <typename M, typename T>
ResponseValue(const char*, T M::*, const char*) -> ResponseValue<M, T>;
template <typename M, typename T>
OutputArgument(const char*, T M::*, const char*) -> OutputArgument<M, T>;
template <typename M, typename T>
Member(const char*, T M::*, const char*) -> Member<M, T>;
template <typename M, typename T>
OutputMember(const char*, T M::*, const char*) -> OutputMember<M, T>;

} // namespace connector::file::v1::wire
