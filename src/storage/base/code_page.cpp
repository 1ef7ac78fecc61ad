#include "storage/base/code_page.h"

#include <algorithm>
#include <limits>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>

#include "common/error.h"
#include "common/text.h"

namespace corvix::storage {
namespace {

struct NamedPage {
  int number;
  const char* converter;
};

constexpr std::array kPages{
    NamedPage{437, "ibm-437_P100-1995"},   NamedPage{737, "ibm-737_P100-1997"},
    NamedPage{850, "ibm-850_P100-1995"},   NamedPage{852, "ibm-852_P100-1995"},
    NamedPage{857, "ibm-857_P100-1995"},   NamedPage{860, "ibm-860_P100-1995"},
    NamedPage{861, "ibm-861_P100-1995"},   NamedPage{863, "ibm-863_P100-1995"},
    NamedPage{865, "ibm-865_P100-1995"},   NamedPage{866, "ibm-866_P100-1995"},
    NamedPage{874, "windows-874-2000"},    NamedPage{932, "ibm-943_P15A-2003"},
    NamedPage{936, "windows-936-2000"},    NamedPage{949, "windows-949-2000"},
    NamedPage{950, "windows-950-2000"},    NamedPage{1250, "ibm-5346_P100-1998"},
    NamedPage{1251, "ibm-5347_P100-1998"}, NamedPage{1252, "ibm-5348_P100-1997"},
    NamedPage{1253, "ibm-5349_P100-1998"}, NamedPage{1254, "ibm-5350_P100-1998"},
    NamedPage{1255, "ibm-9447_P100-2002"}, NamedPage{1256, "ibm-9448_X100-2005"},
    NamedPage{1257, "ibm-9449_P100-2002"}, NamedPage{10000, "macos-0_2-10.2"},
    NamedPage{10006, "macos-6_2-10.4"},    NamedPage{10007, "macos-7_3-10.2"},
    NamedPage{10029, "macos-29-10.2"},
};

/// Where the converters differ from what DOS and Windows use: 0xE6 is the micro sign, not the Greek letter.
struct Correction {
  int page;
  unsigned char byte;
  char32_t code_point;
};
constexpr std::array kCorrections{
    Correction{437, 0xE6, 0x00B5}, Correction{860, 0xE6, 0x00B5}, Correction{861, 0xE6, 0x00B5},
    Correction{863, 0xE6, 0x00B5}, Correction{865, 0xE6, 0x00B5}, Correction{852, 0xAA, 0x00AC},
};

constexpr char32_t kUnassigned = 0xFFFD;
constexpr char32_t kPrivateBase = 0xF700;

const NamedPage* FindPage(int number) {
  const auto* page = std::ranges::find(kPages, number, &NamedPage::number);
  return page == kPages.end() ? nullptr : page;
}

unsigned char ToByte(char c) { return static_cast<unsigned char>(c); }

/// Writes U+FFFD for bytes that are no character of a two-byte page.
void ReplaceBroken(const void*, UConverterToUnicodeArgs* arguments, const char*, std::int32_t,
                   UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  constexpr auto kReplacement = static_cast<UChar>(kUnassigned);
  *status = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(arguments, &kReplacement, 1, 0, status);
}

std::int32_t ConverterLength(std::size_t length) {
  if (length > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() / 4)) {
    throw common::Error(common::kUnsupported, "A text of more than 500 MiB cannot be converted");
  }
  return static_cast<std::int32_t>(length);
}

}  // namespace

void CodePage::CloseConverter::operator()(UConverter* converter) const { ucnv_close(converter); }

bool CodePage::IsSupported(int number) { return FindPage(number) != nullptr; }

CodePage::CodePage(int number) : number_(number) {
  const NamedPage* page = FindPage(number);
  UErrorCode status = U_ZERO_ERROR;
  if (page) converter_.reset(ucnv_open(page->converter, &status));
  if (!page || U_FAILURE(status)) {
    throw common::Error(common::kUnsupported, "There is no table for code page " + std::to_string(number));
  }
  if (ucnv_getMaxCharSize(converter_.get()) == 1) {
    BuildTable(*converter_);
    converter_.reset();
  } else {
    status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter_.get(), ReplaceBroken, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  BuildCases();
}

void CodePage::BuildTable(UConverter& converter) {
  std::array<char32_t, 128> code_points{};
  for (std::size_t i = 0; i < code_points.size(); ++i) {
    const char byte = static_cast<char>(0x80 + i);
    UErrorCode status = U_ZERO_ERROR;
    std::array<UChar, 4> units{};
    const std::int32_t length = ucnv_toUChars(&converter, units.data(), std::ssize(units), &byte, 1, &status);
    code_points[i] = U_SUCCESS(status) && length == 1 ? static_cast<char32_t>(units[0]) : kUnassigned;
  }
  for (const Correction& fix : kCorrections) {
    if (fix.page == number_) code_points[fix.byte - 0x80u] = fix.code_point;
  }
  for (std::size_t i = 0; i < code_points.size(); ++i) {
    if (code_points[i] != kUnassigned) continue;
    const auto own = static_cast<char32_t>(0x80 + i);
    code_points[i] = std::ranges::find(code_points, own) == code_points.end() ? own : kPrivateBase + own;
  }
  for (std::size_t i = 0; i < code_points.size(); ++i) {
    std::string utf8;
    common::AppendUtf8(utf8, code_points[i]);
    std::ranges::copy(utf8, high_[i].bytes.begin());
    high_[i].length = static_cast<std::uint8_t>(utf8.size());
    reverse_.emplace_back(code_points[i], static_cast<unsigned char>(0x80 + i));
  }
  std::ranges::sort(reverse_);
}

void CodePage::BuildCases() {
  for (unsigned i = 0; i < 256; ++i) {
    upper_[i] = lower_[i] = static_cast<unsigned char>(i);
    if (i >= 'a' && i <= 'z') upper_[i] = static_cast<unsigned char>(i - 'a' + 'A');
    if (i >= 'A' && i <= 'Z') lower_[i] = static_cast<unsigned char>(i - 'A' + 'a');
  }
  for (const auto& [code_point, byte] : reverse_) {
    const auto letter = static_cast<UChar32>(code_point);
    if (const auto other = ByteOf(static_cast<char32_t>(u_toupper(letter)))) upper_[byte] = *other;
    if (const auto other = ByteOf(static_cast<char32_t>(u_tolower(letter)))) lower_[byte] = *other;
  }
}

std::optional<unsigned char> CodePage::ByteOf(char32_t code_point) const {
  if (code_point < 0x80) return static_cast<unsigned char>(code_point);
  const auto found =
      std::ranges::lower_bound(reverse_, code_point, {}, &std::pair<char32_t, unsigned char>::first);
  if (found == reverse_.end() || found->first != code_point) return std::nullopt;
  return found->second;
}

void CodePage::AppendUtf8(std::string& out, std::string_view bytes) const {
  if (common::IsAscii(bytes)) {
    out += bytes;
    return;
  }
  if (!converter_) {
    for (const char byte : bytes) {
      if (ToByte(byte) < 0x80) {
        out += byte;
      } else {
        const Utf8& high = high_[ToByte(byte) - 0x80u];
        out.append(high.bytes.data(), high.length);
      }
    }
    return;
  }
  UErrorCode status = U_ZERO_ERROR;
  std::u16string units(bytes.size(), u'\0');  // a two-byte page gives at most one unit a byte
  const std::int32_t length = ucnv_toUChars(converter_.get(), units.data(), ConverterLength(units.size()),
                                            bytes.data(), ConverterLength(bytes.size()), &status);
  units.resize(static_cast<std::size_t>(std::clamp<std::int32_t>(length, 0, ConverterLength(units.size()))));
  out += common::ToUtf8(units);
}

std::string CodePage::ToUtf8(std::string_view bytes) const {
  std::string text;
  AppendUtf8(text, bytes);
  return text;
}

std::optional<std::string> CodePage::FromUtf8(std::string_view text) const {
  if (common::IsAscii(text)) return std::string(text);
  const std::u16string units = common::ToUtf16(text);
  std::string bytes;
  if (!converter_) {
    for (const char16_t unit : units) {
      const auto byte = ByteOf(unit);
      if (!byte) return std::nullopt;
      bytes += static_cast<char>(*byte);
    }
    return bytes;
  }
  UErrorCode status = U_ZERO_ERROR;
  bytes.resize(units.size() * 2);
  const std::int32_t length = ucnv_fromUChars(converter_.get(), bytes.data(), ConverterLength(bytes.size()),
                                              units.data(), ConverterLength(units.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

std::string CodePage::UpperCase(std::string_view text) const {
  std::string capitals = common::UpperCase(text);
  if (common::IsAscii(text) || FromUtf8(capitals)) return capitals;
  // Letter by letter; both texts have as many of them.
  const std::u16string letters = common::ToUtf16(text);
  std::u16string result = common::ToUtf16(capitals);
  for (std::size_t i = 0; i < result.size() && i < letters.size(); ++i) {
    if (!FromUtf8(common::ToUtf8(result.substr(i, 1)))) result[i] = letters[i];
  }
  return common::ToUtf8(result);
}

std::optional<int> CodePageOfLanguageDriver(std::uint8_t driver) {
  switch (driver) {
    case 0x01:  // FoxPro, US DOS; the values up to 0x50 that follow are dBASE's
    case 0x09:
    case 0x0B:
    case 0x0D:
    case 0x0F:
    case 0x11:
    case 0x15:
    case 0x18:
    case 0x19:
    case 0x1B:
      return 437;
    case 0x02:  // FoxPro, international DOS
    case 0x0A:
    case 0x0E:
    case 0x10:
    case 0x12:
    case 0x14:
    case 0x16:
    case 0x1A:
    case 0x1D:
    case 0x25:
    case 0x37:
      return 850;
    case 0x03:  // FoxPro, Windows
    case 0x57:
    case 0x58:
    case 0x59:
      return 1252;
    case 0x04:
      return 10000;
    case 0x08:
    case 0x17:
    case 0x66:
      return 865;
    case 0x13:
    case 0x7B:
      return 932;
    case 0x1C:
    case 0x6C:
      return 863;
    case 0x1F:
    case 0x22:
    case 0x23:
    case 0x40:
    case 0x64:
    case 0x87:
      return 852;
    case 0x24:
      return 860;
    case 0x26:
    case 0x65:
      return 866;
    case 0x4D:
    case 0x7A:
      return 936;
    case 0x4E:
    case 0x79:
      return 949;
    case 0x4F:
    case 0x78:
      return 950;
    case 0x50:
    case 0x7C:
      return 874;
    case 0x67:
      return 861;
    case 0x68:
      return 895;
    case 0x69:
      return 620;
    case 0x6A:
    case 0x86:
      return 737;
    case 0x6B:
    case 0x88:
      return 857;
    case 0x7D:
      return 1255;
    case 0x7E:
      return 1256;
    case 0x96:
      return 10007;
    case 0x97:
      return 10029;
    case 0x98:
      return 10006;
    case 0xC8:
      return 1250;
    case 0xC9:
      return 1251;
    case 0xCA:
      return 1254;
    case 0xCB:
      return 1253;
    case 0xCC:
      return 1257;
    default:
      return std::nullopt;
  }
}

}  // namespace corvix::storage
