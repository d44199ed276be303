// Text conversion: the input as text of each kind, and as wide characters.
#include "Fuzz.h"

void Try(const std::string& input) {
  std::string bytes = "old";
  std::wstring wide = L"old", any(input.size() / sizeof(wchar_t), L'\0');
  input.copy(reinterpret_cast<char*>(any.data()), any.size() * sizeof(wchar_t));
  qel::ToWide(input.data(), input.size(), wide), qel::FromWide(wide.data(), wide.size(), bytes);
  Require(bytes == input && std::ranges::all_of(wide, [](wchar_t c) { return c >> 8 == 0; }));
  qel::FromWide(any.data(), any.size(), bytes), qel::FromUtf8(input, wide);
  const auto narrowed = [](wchar_t c) { return char(std::min(std::int32_t(c), 0xFF)); };
  Require(std::ranges::equal(any, bytes, {}, narrowed) && wide.size() <= input.size());
  qel::ToUtf8(any, bytes), qel::FromUtf8(bytes, wide);
  for (wchar_t& c : any) c &= 0xFFFF;
  const auto begun = std::ranges::count_if(bytes, [](char c) { return (c & 0xC0) != 0x80; });
  Require(wide == any && begun == ssize_t(any.size()));
}
