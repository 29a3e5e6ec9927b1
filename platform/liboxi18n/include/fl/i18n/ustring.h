#pragma once

#include <string>

#pragma GCC visibility push(default)

namespace fl::i18n {

using ustring = std::u16string;

} // namespace fl::i18n

#pragma GCC visibility pop
