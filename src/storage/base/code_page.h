// Code pages: the bytes of text in tables of the DOS and early Windows years, to UTF-8 and back.
//
// Nothing that a file holds is lost: a byte that a one-byte page leaves unassigned becomes the control
// character of the same number (0x81 in page 1252 is U+0081) or, where the page itself uses that character
// elsewhere, the private character U+F700 + byte; both come back as the byte. Bytes below 0x80 are ASCII in
// every page. The pages of two-byte scripts go through ICU; broken sequences in them become U+FFFD.
//
// Objects are for one thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct UConverter;

namespace corvix::storage {

class CodePage {
 public:
  /// A page by its Windows number: 437, 850, 1252, 10000 (Macintosh)... Error 3251 when the number is
  /// unknown.
  explicit CodePage(int number);
  static bool IsSupported(int number);

  int number() const { return number_; }

  /// Appends the text of `bytes` in UTF-8.
  void AppendUtf8(std::string& out, std::string_view bytes) const;
  std::string ToUtf8(std::string_view bytes) const;
  /// The bytes of a UTF-8 text; none when one of its characters is not in the page.
  std::optional<std::string> FromUtf8(std::string_view text) const;

  /// A UTF-8 text in capitals; letters whose capital the page lacks stay as they are.
  std::string UpperCase(std::string_view text) const;

  /// The byte of the letter's other case, the byte itself where the page has none. In the two-byte pages only
  /// ASCII letters have one.
  char Upper(char byte) const { return static_cast<char>(upper_[static_cast<unsigned char>(byte)]); }
  char Lower(char byte) const { return static_cast<char>(lower_[static_cast<unsigned char>(byte)]); }

 private:
  struct Utf8 {
    std::array<char, 3> bytes{};
    std::uint8_t length = 0;
  };
  struct CloseConverter {
    void operator()(UConverter* converter) const;
  };

  void BuildTable(UConverter& converter);
  void BuildCases();
  std::optional<unsigned char> ByteOf(char32_t code_point) const;

  int number_;
  std::array<Utf8, 128> high_{};                             // UTF-8 of the bytes 0x80..0xFF, one-byte pages
  std::vector<std::pair<char32_t, unsigned char>> reverse_;  // the same the other way round, sorted
  std::array<unsigned char, 256> upper_{};
  std::array<unsigned char, 256> lower_{};
  std::unique_ptr<UConverter, CloseConverter> converter_;  // two-byte pages only
};

/// The page that the language driver byte of a table header stands for; none for 0 and for unknown bytes. Two
/// answers, 620 (Polish) and 895 (Czech), are pages that CodePage does not support.
std::optional<int> CodePageOfLanguageDriver(std::uint8_t driver);

}  // namespace corvix::storage
