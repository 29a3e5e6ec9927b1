#pragma once

#include <Poco/Base64Encoder.h>
#include <Poco/Dynamic/Var.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace connector::test {

inline Poco::JSON::Object::Ptr parseObject(const std::string& json) {
  try {
    return Poco::JSON::Parser().parse(json).extract<Poco::JSON::Object::Ptr>();
  } catch (const Poco::Exception& error) {
    throw std::runtime_error(error.displayText() + " in: " + json.substr(0, 1000));
  }
}

/// Returns the JSON text, with the keys in alphabetical order.
inline std::string textOf(const Poco::Dynamic::Var& json) {
  std::ostringstream text;
  Poco::JSON::Stringifier::stringify(json, text);
  return text.str();
}

/// Encodes on one line, with another encoder than the product's.
inline std::string toBase64(std::string_view bytes) {
  std::ostringstream text;
  Poco::Base64Encoder encoder(text);
  encoder.rdbuf()->setLineLength(0);
  encoder << bytes;
  encoder.close();
  return text.str();
}

} // namespace connector::test
