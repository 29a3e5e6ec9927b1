#pragma once

#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace connector::test {

inline Poco::JSON::Object::Ptr parseObject(const std::string& json) {
  try {
    return Poco::JSON::Parser().parse(json).extract<Poco::JSON::Object::Ptr>();
  } catch (const Poco::Exception& error) {
    throw std::runtime_error(error.displayText() + " in: " + json.substr(0, 1000));
  }
}

/// With the keys in alphabetical order.
inline std::string textOf(const Poco::Dynamic::Var& json) {
  std::ostringstream text;
  Poco::JSON::Stringifier::stringify(json, text);
  return text.str();
}

} // namespace connector::test
