#pragma once

#include "support/ChildProcess.h"
#include "support/FileContents.h"
#include "support/ScratchFolder.h"

#include <connector/file/v1/FileServiceException.h>
#include <connector/file/v1/FileServiceImpl.h>

#include <fl/filesystem/exceptions.h>
#include <fl/i18n/convert.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace connector::file::v1::test {

/// How a call ends, in one word: the condition of a refusal, the name of the code of a platform
/// exception that it threw, "runtime_error" for another failure, "ok", and "false" for a false.
template <typename Call>
std::string outcomeOf(const Call& call) {
  try {
    auto future = call();
    if constexpr (std::is_same_v<decltype(future), Future<bool>>) {
      return future.get() ? "ok" : "false";
    }
    future.get();
    return "ok";
  } catch (const FileServiceException& refusal) {
    const std::string what = "An error occurred in the fileservice, " + refusal.getId() + " " +
                             fl::i18n::to_string(refusal.getMessage(), {"UTF-8", true});
    EXPECT_STREQ(refusal.what(), what.c_str());
    return refusal.getCondition();
  } catch (const fl::filesystem::FsysExceptionBase& error) {
    return strerrorname_np(static_cast<int>(error.get_error_code()));
  } catch (const std::runtime_error&) {
    return "runtime_error";
  }
}

inline File fileAt(const ustring& location, std::string_view contents = {}) {
  return {FileInfo(location, false), connector::test::bufferOf(contents)};
}

using FileServiceTest = connector::test::ScratchFolder;

} // namespace connector::file::v1::test
