#include "component/windows/variants.h"

#include <new>

#include "quarnex/failure.h"

namespace quarnex {
namespace {

// A copy of an argument, without references: the converted value.
class ConvertedVariant {
 public:
  ConvertedVariant(const VARIANT& argument, VARTYPE type) {
    ::VariantInit(&value_);
    HRESULT result = ::VariantCopyInd(&value_, const_cast<VARIANT*>(&argument));
    if (SUCCEEDED(result)) result = ::VariantChangeType(&value_, &value_, 0, type);
    if (FAILED(result)) {
      ::VariantClear(&value_);
      throw result == DISP_E_OVERFLOW ? Failure(6, "Overflow") : Failure(13, "Type mismatch");
    }
  }
  ~ConvertedVariant() { ::VariantClear(&value_); }
  ConvertedVariant(const ConvertedVariant&) = delete;
  ConvertedVariant& operator=(const ConvertedVariant&) = delete;
  const VARIANT& value() const { return value_; }

 private:
  VARIANT value_;
};

BSTR require(BSTR text) {
  if (text == nullptr) throw std::bad_alloc();
  return text;
}

}  // namespace

std::string bytesOf(BSTR text) {
  std::string bytes(::SysStringLen(text), '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (text[i] > 255) throw Failure(5, "A text has a character above 255, which no link can carry");
    bytes[i] = static_cast<char>(text[i]);
  }
  return bytes;
}

std::string utf8Of(BSTR text) {
  const int length = static_cast<int>(::SysStringLen(text));
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

BSTR textOf(std::string_view bytes) {
  BSTR text = require(::SysAllocStringLen(nullptr, static_cast<UINT>(bytes.size())));
  for (std::size_t i = 0; i < bytes.size(); ++i) text[i] = static_cast<unsigned char>(bytes[i]);
  return text;
}

BSTR textOfUtf8(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  BSTR text = require(::SysAllocStringLen(nullptr, static_cast<UINT>(size)));
  ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, text, size);
  return text;
}

ComponentValue convertedArgument(const VARIANT& argument, VARTYPE type, bool isPath) {
  const ConvertedVariant converted(argument, type);
  const VARIANT& value = converted.value();
  if (type == VT_I2) return std::int16_t{V_I2(&value)};
  if (type == VT_BOOL) return V_BOOL(&value) != VARIANT_FALSE;
  return isPath ? utf8Of(V_BSTR(&value)) : bytesOf(V_BSTR(&value));
}

}  // namespace quarnex
