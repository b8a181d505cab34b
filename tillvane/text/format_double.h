#pragma once

#include <string_view>

#include <tillvane/text/format_conversion.h>

namespace text {

/// A double for `e f g`, as the C library writes it under this thread's locale and rounding.
/// \param scratch kFormatScratchSize characters, to which the result may point
std::string_view FormatDouble(const FormatConversion& conversion, double value, char* scratch);

}  // namespace text
