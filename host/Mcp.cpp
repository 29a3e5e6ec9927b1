#include "Commands.h"
#include "Diagnostics.h"
#include "Json.h"
#include "Schema.h"

#include <Poco/Ascii.h>
#include <Poco/Dynamic/Var.h>
#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace connector::host {

namespace {

using Poco::Dynamic::Var;
using Poco::JSON::Array;
using Poco::JSON::Object;

constexpr const char* STATELESS_VERSION = "2026-07-28";
constexpr std::array VERSIONS{"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"};

constexpr const char* VERSION_KEY = "io.modelcontextprotocol/protocolVersion";
constexpr const char* CAPABILITIES_KEY = "io.modelcontextprotocol/clientCapabilities";
constexpr const char* SERVER_KEY = "io.modelcontextprotocol/serverInfo";

constexpr const char* DISCOVER = "server/discover";
constexpr const char* LIST = "tools/list";

constexpr int FIVE_MINUTES = 300'000; // in milliseconds

/// The effects of a request, and advice for a model that chooses a tool. The defaults of the
/// protocol hold for a request without a row: it is destructive and not idempotent.
struct Effects {
  std::string_view type;
  bool isReadOnly;    ///< unless an optional key is given
  bool isDestructive; ///< may replace or remove files
  bool isIdempotent;
  const char* advice;
};

constexpr std::array EFFECTS{
    Effects{"CloseFile", true, true, true,
            "Use it to learn whether a path exists, its size and its time, without reading it."},
    Effects{"CreateFile", false, true, true,
            "Use it for new files and directories, update_file to change a file."},
    Effects{"DeleteFile", false, true, false, "It cannot be undone."},
    Effects{"ListFolder", true, false, true,
            "Use it to find files; the path . is the first directory that may be used."},
    Effects{"MoveFile", false, true, false,
            "Use it to keep the name and change the directory, rename_file for a new name."},
    Effects{"OpenFile", true, false, true,
            "Use it for all reading. Contents that are not UTF-8 are returned as base64."},
    Effects{"OpenOrCreateFile", false, false, true,
            "Use it only if a missing file shall be created, open_file otherwise."},
    Effects{"RenameFile", false, true, false,
            "Use it for a new name, in the same directory or not."},
    Effects{"UpdateFile", false, true, true,
            "Use it to change a file, with its complete new contents; create_file for a new one."}};

const Effects& effectsOf(const std::string& type) {
  static constexpr Effects defaults{"", false, true, false, ""};
  const auto* found = std::find_if(EFFECTS.begin(), EFFECTS.end(),
                                   [&](const Effects& effects) { return effects.type == type; });
  return found == EFFECTS.end() ? defaults : *found;
}

/// Separates the words of a name: "Open_file" or "Open file" for "OpenFile".
std::string separated(const std::string& name, char separator) {
  std::string result;
  for (const char c : name) {
    const bool beginsWord = Poco::Ascii::isUpper(c) && !result.empty();
    result += beginsWord ? std::string{separator, static_cast<char>(Poco::Ascii::toLower(c))}
                         : std::string{c};
  }
  return result;
}

/// The name of the argument for a key, which is the last part of the key.
std::string argumentOf(const RequestKey& key) {
  return key.name.substr(key.name.find('.') + 1);
}

Object::Ptr inputSchema(const std::vector<RequestKey>& keys) {
  auto properties = makeObject();
  auto required = makeArray();
  for (const auto& key : keys) {
    properties->set(argumentOf(key), key.schema);
    if (key.isRequired) {
      required->add(argumentOf(key));
    }
  }
  return makeObject({{"type", "object"},
                     {"properties", properties},
                     {"required", required},
                     {"additionalProperties", false}});
}

Object::Ptr serverInfo() {
  return makeObject({{"name", "connector-host"},
                     {"title", "Connector file service"},
                     {"version", CONNECTOR_HOST_VERSION}});
}

/// Whether a request belongs to the stateless protocol. Throws an Error if its `_meta` is not valid
/// for the only version of that protocol.
bool isStateless(const std::string& method, const Object& params) {
  const auto meta = params.getObject("_meta");
  const auto version = meta.isNull() ? Var() : meta->get(VERSION_KEY);
  if (version.isEmpty()) {
    return method == DISCOVER;
  }
  if (version.toString() != STATELESS_VERSION) {
    throw Error(
        ErrorCode::unsupportedVersion, "Unsupported protocol version",
        makeObject({{"supported", makeArray({STATELESS_VERSION})}, {"requested", version}}));
  }
  if (meta->getObject(CAPABILITIES_KEY).isNull()) {
    throw Error(ErrorCode::invalidParams,
                std::string("Invalid params: _meta has no ") + CAPABILITIES_KEY);
  }
  return true;
}

/// Adds the members that each result of the stateless protocol has.
void addStatelessMembers(const std::string& method, Object& result) {
  result.set("_meta", makeObject({{SERVER_KEY, serverInfo()}}));
  result.set("resultType", "complete");
  if (method == LIST || method == DISCOVER) {
    result.set("ttlMs", FIVE_MINUTES);
    result.set("cacheScope", "private");
  }
}

/// The requested version, or else the newest one.
std::string versionFor(const Object& params) {
  const auto requested = params.optValue("protocolVersion", std::string());
  const auto* found = std::find(VERSIONS.begin(), VERSIONS.end(), requested);
  return found == VERSIONS.end() ? VERSIONS.back() : *found;
}

Object::Ptr textBlock(const Var& text) {
  auto block = makeObject({{"type", "text"}});
  block->set("text", text); // not in the list above, which would copy a long text again
  return block;
}

Object::Ptr errorResult(const std::string& text) {
  return makeObject({{"content", makeArray({textBlock(text)})}, {"isError", true}});
}

std::string textOf(const Fault& fault) {
  auto text = fault.condition + ": " + fault.message;
  for (const auto& path : fault.paths) {
    text += text.find(path) == std::string::npos ? " (" + path + ")" : "";
  }
  return text;
}

/// Returns "NAME/", "NAME (6 bytes)" or "NAME (missing)". `name` is the key of NAME.
std::string describe(const Object& info, const char* name) {
  const auto text = withEscapedControls(info.getValue<std::string>(name));
  if (info.optValue("deleted", false)) {
    return text + " (missing)";
  }
  return info.getValue<bool>("isDirectory") ? text + "/"
                                            : text + " (" + info.get("size").toString() + " bytes)";
}

std::string listing(const Array& entries) {
  std::vector<std::string> lines;
  for (const auto& entry : entries) {
    lines.push_back(describe(*entry.extract<Object::Ptr>(), "name"));
  }
  std::sort(lines.begin(), lines.end());
  return lines.empty() ? "(no entries)" : Poco::cat(std::string("\n"), lines.begin(), lines.end());
}

/// With `structuredContent`, too, the contents would be sent twice, and some clients would show a
/// model only that part.
Object::Ptr contentsResult(const Object& file) {
  auto content = makeArray();
  if (file.getValue<std::string>("encoding") != "utf-8") {
    const auto size = file.get("size").toString();
    content->add(textBlock("These " + size + " bytes are not UTF-8. In base64:"));
  }
  content->add(textBlock(file.get("contents")));
  return makeObject({{"content", content}});
}

Object::Ptr resultFrom(Object::Ptr response) {
  if (const auto file = response->getObject("file")) {
    return contentsResult(*file);
  }
  response->remove("uuid");
  response->remove("apiVersion");
  if (const auto fault = faultIn(*response)) {
    auto result = errorResult(textOf(*fault));
    result->set("structuredContent", response);
    return result;
  }
  const auto entries = response->getArray("folderContents");
  const auto info = response->getObject(response->has("fileInfo") ? "fileInfo" : "newFileInfo");
  const auto text = entries.isNull() ? describe(*info, "location") : listing(*entries);
  return makeObject({{"content", makeArray({textBlock(text)})}, {"structuredContent", response}});
}

/// Throws an Error for an argument that is unknown, missing or of the wrong type. The service
/// itself would ignore it, use a default or convert it.
Object::Ptr messageFrom(const std::vector<RequestKey>& keys, const Object& params) {
  const auto given = params.getObject("arguments");
  const auto arguments = given.isNull() ? makeObject() : given;
  auto message = makeObject();
  for (const auto& [name, value] : *arguments) {
    const auto key = std::find_if(keys.begin(), keys.end(), [&, &argument = name](const auto& row) {
      return argumentOf(row) == argument;
    });
    if (key == keys.end()) {
      throw Error(ErrorCode::invalidParams, "Unknown argument: " + name);
    }
    const auto& type = key->type() == "boolean" ? typeid(bool) : typeid(std::string);
    if (!value.isEmpty() && value.type() != type) {
      throw Error(ErrorCode::invalidParams, name + " is not a " + key->type());
    }
    setKey(*message, key->name, value);
  }
  for (const auto& key : keys) {
    if (key.isRequired && arguments->isNull(argumentOf(key))) {
      throw Error(ErrorCode::invalidParams, "Missing argument: " + argumentOf(key));
    }
  }
  return message;
}

struct Tool {
  std::string type;             ///< of the request
  std::vector<RequestKey> keys; ///< offered as arguments
};

class McpApi : public Api {
public:
  McpApi(std::unique_ptr<Api> files, const Options& options, const std::vector<int>& roots)
      : files_(std::move(files))
      , maxReply_(options.maxReply) {
    std::string directories;
    for (const int root : roots) {
      const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(root));
      directories += (directories.empty() ? "" : ", ") + path.string();
    }
    const bool readOnly = options.readOnly;
    instructions_ = "Paths are absolute or relative to the first of these directories, outside of "
                    "which everything is refused: " +
                    directories + (readOnly ? ". Nothing can be changed." : ".");
    for (const auto& type : requestTypes()) {
      addTool(type, readOnly);
    }
  }

  [[nodiscard]] Protocol protocol() const override {
    Protocol mcp;
    mcp.example = R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})";
    mcp.cancellation = "notifications/cancelled";
    mcp.cancelledId = "requestId";
    mcp.repliesToCancelled = mcp.hasBatches = mcp.hasShutdown = false;
    return mcp;
  }

  [[nodiscard]] Object::Ptr execute(const std::string& method,
                                    const Object::Ptr& params) const override {
    const bool stateless = isStateless(method, *params);
    auto result = resultOf(method, *params, stateless);
    if (stateless) {
      addStatelessMembers(method, *result);
    }
    return result;
  }

private:
  /// With `readOnly`, adds only a tool that changes nothing, without its optional arguments.
  void addTool(const std::string& type, bool readOnly) {
    const auto schema = requestSchema(type);
    const auto title = schema->getValue<std::string>("title");
    const auto& effects = effectsOf(title);
    if (readOnly && !effects.isReadOnly) {
      return;
    }
    auto keys = keysOf(type);
    const auto isHidden = [&](const RequestKey& key) {
      const bool isEnvelope = key.name == "uuid" || key.name == "apiVersion";
      return isEnvelope || key.type() == "object" || key.isIgnored() ||
             (readOnly && !key.isRequired);
    };
    keys.erase(std::remove_if(keys.begin(), keys.end(), isHidden), keys.end());
    const bool hasOptionalKeys = std::any_of(keys.begin(), keys.end(),
                                             [](const RequestKey& key) { return !key.isRequired; });

    const auto name = Poco::toLower(separated(title, '_'));
    const bool isReadOnly = effects.isReadOnly && !hasOptionalKeys;
    definitions_->add(makeObject(
        {{"name", name},
         {"title", separated(title, ' ')},
         {"description", schema->getValue<std::string>("description") + " " + effects.advice},
         {"inputSchema", inputSchema(keys)},
         {"annotations", makeObject({{"readOnlyHint", isReadOnly},
                                     {"destructiveHint", !isReadOnly && effects.isDestructive},
                                     {"idempotentHint", effects.isIdempotent},
                                     {"openWorldHint", false}})}}));
    tools_.emplace(name, Tool{type, std::move(keys)});
  }

  [[nodiscard]] Object::Ptr resultOf(const std::string& method, const Object& params,
                                     bool stateless) const {
    const auto capabilities = makeObject({{"tools", makeObject()}});
    if (method == "tools/call") {
      return callTool(params);
    }
    if (method == LIST) {
      return makeObject({{"tools", definitions_}});
    }
    if (method == DISCOVER) {
      return makeObject({{"supportedVersions", makeArray({STATELESS_VERSION})},
                         {"capabilities", capabilities},
                         {"instructions", instructions_}});
    }
    if (method == "initialize" && !stateless) {
      return makeObject({{"protocolVersion", versionFor(params)},
                         {"capabilities", capabilities},
                         {"serverInfo", serverInfo()},
                         {"instructions", instructions_}});
    }
    if (method == "ping" && !stateless) {
      return makeObject();
    }
    throw Error(ErrorCode::methodNotFound, "Unknown method: " + method);
  }

  [[nodiscard]] Object::Ptr callTool(const Object& params) const {
    const auto name = params.optValue("name", std::string());
    const auto tool = tools_.find(name);
    if (tool == tools_.end()) {
      throw Error(ErrorCode::invalidParams, "Unknown tool: " + name);
    }
    const auto& [type, keys] = tool->second;
    try {
      const auto result = resultFrom(files_->execute(type, messageFrom(keys, params)));
      const auto size = jsonSize(result);
      return size <= maxReply_ ? result
                               : errorResult("The result has " + std::to_string(size) +
                                             " bytes, more than --max-reply allows: " +
                                             std::to_string(maxReply_));
    } catch (const Error& e) {
      return errorResult(e.what()); // a model can correct its arguments
    }
  }

  const std::unique_ptr<Api> files_;
  const std::size_t maxReply_;
  std::string instructions_;
  std::map<std::string, Tool> tools_;    ///< by name
  Array::Ptr definitions_ = makeArray(); ///< of all tools, as `tools/list` returns them
};

} // namespace

std::unique_ptr<Api> makeMcpApi(std::unique_ptr<Api> files, const Options& options,
                                const std::vector<int>& roots) {
  return std::make_unique<McpApi>(std::move(files), options, roots);
}

} // namespace connector::host
