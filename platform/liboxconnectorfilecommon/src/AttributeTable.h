#pragma once

#include <connector/file_common/v1/FileInfo.h>

namespace connector::file_common::v1 {

struct AttributeTable {
  /// Calls `visit` with the key and the optional value of each attribute.
  template <typename Info, typename Visit>
  static void forEach(Info& info, const Visit& visit) {
    visit(FileAttributes::SIZE, info.size_);
    visit(FileAttributes::MODIFIED, info.modified_);
    visit(FileAttributes::CAN_WRITE, info.canWrite_);
    visit(FileAttributes::DELETED, info.deleted_);
    visit(FileAttributes::IS_SHARED, info.isShared_);
  }
};

} // namespace connector::file_common::v1
