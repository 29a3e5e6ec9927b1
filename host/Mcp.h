#pragma once

#include "JsonRpc.h"
#include "Options.h"
#include "Schema.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace connector::host {

/// The Model Context Protocol: offers each message as a tool. A request whose `_meta` has a
/// protocol version belongs to the stateless protocol of 2026-07-28. Any other request belongs to
/// the earlier protocol, which begins with `initialize`. No state is kept between requests.
class Mcp : public Api {
public:
  /// `files` executes the messages. `roots` are the open directories of the confinement.
  Mcp(const Api& files, const Options& options, const std::vector<int>& roots);

  [[nodiscard]] Protocol protocol() const override;

  [[nodiscard]] Poco::JSON::Object::Ptr
  execute(const std::string& method, const Poco::JSON::Object::Ptr& params) const override;

private:
  struct Tool {
    std::string type;             ///< of the message
    std::vector<RequestKey> keys; ///< that are offered as arguments
  };

  void addTool(const std::string& type, bool readOnly);
  [[nodiscard]] Poco::JSON::Object::Ptr callTool(const Poco::JSON::Object& params) const;
  [[nodiscard]] Poco::JSON::Object::Ptr resultOf(const std::string& method,
                                                 const Poco::JSON::Object& params) const;

  const Api& files_;
  const std::size_t maxReply_;
  std::string instructions_;
  std::map<std::string, Tool> tools_;
  Poco::JSON::Array::Ptr definitions_; ///< of all tools, as `tools/list` returns them
};

} // namespace connector::host
