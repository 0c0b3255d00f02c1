// Converts between the texts and variants of the component model and those of the library.
#pragma once

#include <string>
#include <string_view>

#include <windows.h>

#include <oleauto.h>

#include "quarnex/component.h"

namespace quarnex {

/// The characters as bytes, one each. Failure 5 for a character above 255.
std::string bytesOf(BSTR text);
/// The characters in UTF-8, for paths.
std::string utf8Of(BSTR text);
/// A new text with one character for each byte; the caller frees it. Throws `std::bad_alloc`.
BSTR textOf(std::string_view bytes);
/// A new text with the characters that the UTF-8 encodes.
BSTR textOfUtf8(std::string_view utf8);

/// The argument as the platform converts it to the kind of a parameter. Failure 6 or 13 if it does not fit.
/// `isPath`: a text is kept in UTF-8.
ComponentValue convertedArgument(const VARIANT& argument, VARTYPE type, bool isPath);

}  // namespace quarnex
