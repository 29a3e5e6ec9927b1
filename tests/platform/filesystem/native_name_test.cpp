#include "Failure.h"
#include "support/ScratchFolder.h"

#include <fl/filesystem/native_name.h>
#include <fl/filesystem/operations.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace fl::filesystem::test {
namespace {

using detail::native_to_utf16;
using detail::utf16_to_native;

TEST(NativeName, HasOneFormForEachName) {
  struct Row {
    const char* what;
    std::string bytes;
    std::u16string text;
  };

  const std::vector<Row> rows = {
      {"ASCII", "a.txt", u"a.txt"},
      {"two bytes", "\xC3\xA9", u"\u00e9"},
      {"three bytes", "\xE4\xB8\xAD", u"\u4e2d"},
      {"four bytes", "\xF0\x9F\x98\x80", u"\U0001F600"},
      {"highest code point", "\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"private use outside the escapes", "\xEE\xBD\xBF\xEF\x80\x80", u"\uef7f\uf000"},
      {"lone high bytes", "\x80-\xFF", u"\uef80-\uefff"},
      {"overlong", "\xC0\xAF", u"\uefc0\uefaf"},
      {"surrogate", "\xED\xA0\x80", u"\uefed\uefa0\uef80"},
      {"beyond Unicode", "\xF4\x90\x80\x80", u"\ueff4\uef90\uef80\uef80"},
      {"truncated, then text", "\xE4\xB8z", u"\uefe4\uefb8z"},
      {"truncated at the end", "z\xF0\x9F\x98", u"z\ueff0\uef9f\uef98"},
      {"broken off by a valid one", "\xE4\xC3\xA9", u"\uefe4\u00e9"},
      {"an escape as real UTF-8", "\xEE\xBE\x80", u"\uefee\uefbe\uef80"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(native_to_utf16(row.bytes), row.text);
    EXPECT_EQ(utf16_to_native(row.text), row.bytes);
  }
}

TEST(NativeName, RefusesWhatIsTheFormOfNoName) {
  const std::vector<std::pair<const char*, std::u16string>> rows = {
      {"a NUL", {u'a', u'\0', u'b'}},
      {"a lone high surrogate", {u'a', 0xD83D}},
      {"a high surrogate before text", {0xD83D, u'a'}},
      {"a lone low surrogate", {0xDE00, u'a'}},
      {"escaped bytes that are plain UTF-8", u"\uefc3\uefa9"},
      {"escaped bytes that complete a character across text", u"/a/\ueff0\uef9f\uef98\uef80/b"},
  };
  for (const auto& [what, text] : rows) {
    EXPECT_EQ(failureOf([text = text] { utf16_to_native(text); }),
              failure<FileNameConversionFailure>(EILSEQ, text))
        << what;
  }
}

/// Strings of up to eight of the given units, the same ones in each run.
template <typename String, std::size_t Size>
std::vector<String> someStrings(const std::array<unsigned, Size>& alphabet) {
  std::mt19937 random(20240229); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same ones on purpose
  std::uniform_int_distribution<std::size_t> length(1, 8);
  std::uniform_int_distribution<std::size_t> pick(0, Size - 1);
  std::vector<String> strings(50'000);
  for (String& string : strings) {
    for (std::size_t left = length(random); left > 0; --left) {
      string += static_cast<typename String::value_type>(alphabet.at(pick(random)));
    }
  }
  return strings;
}

// The bytes are such that well-formed, broken and escape-like sequences all occur often.
TEST(NativeName, EveryByteStringHasAFormThatNoOtherHasAndThatLeadsBack) {
  constexpr std::array<unsigned, 16> bytes = {'a',  '/',  0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBE,
                                              0xBF, 0xC0, 0xC3, 0xE0, 0xED, 0xEE, 0xF0, 0xF4};
  std::map<std::u16string, std::string> names;
  for (const std::string& name : someStrings<std::string>(bytes)) {
    const std::u16string text = native_to_utf16(name);
    ASSERT_EQ(utf16_to_native(text), name);
    ASSERT_EQ(names.emplace(text, name).first->second, name);
  }
}

TEST(NativeName, EveryTextIsTheFormOfItsNameOrRefused) {
  constexpr std::array<unsigned, 12> units = {'a',    '/',    0xE9,   0xD83D, 0xDE00, 0xEF7F,
                                              0xEF80, 0xEFA9, 0xEFBE, 0xEFC3, 0xEFEE, 0xF000};
  int accepted = 0;
  for (const std::u16string& text : someStrings<std::u16string>(units)) {
    try {
      const std::string name = utf16_to_native(text);
      ASSERT_EQ(native_to_utf16(name), text);
      ++accepted;
    } catch (const FileNameConversionFailure& refusal) {
      ASSERT_EQ(refusal.get_path(), text);
    }
  }
  EXPECT_GT(accepted, 10'000);
}

using NativeNameOnDisk = connector::test::ScratchFolder;

TEST_F(NativeNameOnDisk, AFileWhoseNameIsNotUtf8CanBeInspectedRenamedAndRemoved) {
  writeFile("\xFF\xC3.txt", "bytes");
  const std::u16string name = textAt("") + u"\uefff\uefc3.txt";
  EXPECT_EQ(status(name).size(), 5U);
  rename(name, textAt("") + u"\uef80", {});
  EXPECT_EQ(readFile("\x80"), "bytes");
  remove(textAt("") + u"\uef80");
  EXPECT_TRUE(disk().empty());
}

TEST_F(NativeNameOnDisk, APathWithANulIsNotCutShort) {
  writeFile("a", "kept");
  const std::u16string path = textAt("a") + std::u16string(1, u'\0') + u"b";
  const Failure refused = failure<FileNameConversionFailure>(EILSEQ, path);
  const auto before = disk();
  EXPECT_EQ(failureOf([&] { status(path); }), refused);
  EXPECT_EQ(failureOf([&] { access(path, access_read); }), refused);
  EXPECT_EQ(failureOf([&] { remove(path); }), refused);
  EXPECT_EQ(failureOf([&] { remove_all(path); }), refused);
  EXPECT_EQ(failureOf([&] { rename(path, textAt("c"), {}); }), refused);
  EXPECT_EQ(failureOf([&] { create_directories(path); }), refused);
  EXPECT_EQ(failureOf([&] { copy(textAt("a"), path, copy_option::fail_if_exists); }), refused);
  EXPECT_EQ(disk(), before);
}

} // namespace
} // namespace fl::filesystem::test
