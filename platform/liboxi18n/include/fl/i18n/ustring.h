#pragma once

#include <string>

namespace fl::i18n {

using ustring = std::u16string;

} // namespace fl::i18n
