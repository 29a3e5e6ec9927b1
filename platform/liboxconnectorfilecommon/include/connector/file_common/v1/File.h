#pragma once

#include <connector/file_common/v1/DataBuffer.h>
#include <connector/file_common/v1/FileInfo.h>

#include <utility>

#pragma GCC visibility push(default)

namespace connector::file_common::v1 {

/// A file's description together with its contents.
class File {
public:
  File() = default;

  explicit File(FileInfo&& info) noexcept
      : info_(std::move(info)) {}

  File(FileInfo&& info, DataBuffer&& contents) noexcept
      : info_(std::move(info))
      , contents_(std::move(contents)) {}

  [[nodiscard]] const FileInfo& getFileInfo() const noexcept { return info_; }

  [[nodiscard]] const DataBuffer& getContents() const noexcept { return contents_; }

private:
  FileInfo info_;
  DataBuffer contents_;
};

} // namespace connector::file_common::v1

#pragma GCC visibility pop
