#include "storage/jet/pages/header_page.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

#include "common/error.h"
#include "storage/jet/pages/rc4.h"

namespace corvix::jet {
namespace {

using storage::ByteSpan;
using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;
using storage::WriteByte;
using storage::WriteLittle;
using Bytes = std::vector<std::byte>;

constexpr std::string_view kSignatureText{"Standard Jet DB", 16};  // the closing zero included
constexpr std::string_view kLaterSignatureText{"Standard ACE DB", 16};
constexpr std::string_view kEngineName{"4.0", 4};
constexpr std::uint8_t kJet4 = 1;
constexpr std::array kMaskKey{std::byte{0xC7}, std::byte{0xDA}, std::byte{0x39}, std::byte{0x6B}};
constexpr std::size_t kPasswordLength = 40;

// Applies the mask to the masked region; doing it twice undoes it.
void Mask(ByteSpan page) { ApplyRc4(kMaskKey, storage::Slice(page, header::kMasked, header::kMaskedLength)); }

// The password is masked once more, with the whole days of the creation date.
bool HasPassword(ByteView page, double created) {
  const bool is_day = created > -1e9 && created < 1e9;
  const auto days = static_cast<std::uint32_t>(static_cast<std::int32_t>(is_day ? created : 0));
  const ByteView stored = storage::Slice(page, header::kPassword, kPasswordLength);
  for (std::size_t i = 0; i < stored.size(); ++i) {
    if (stored[i] != static_cast<std::byte>(days >> (8 * (i % 4)) & 0xFF)) return true;
  }
  return false;
}

void WriteSystemPages(ByteSpan page) {
  WriteLittle(page, header::kGlobalMap, RowRef{kGlobalMapPage, 0}.Packed());
  WriteLittle(page, header::kSecondMap, RowRef{kGlobalMapPage, 1}.Packed());
  for (std::uint32_t i = 0; i < 4; ++i) WriteLittle(page, header::kSystemTables + 4 * i, kObjectsTable + i);
}

[[noreturn]] void NotJet4(std::string text, const std::filesystem::path& path) {
  throw common::Error(common::kUnrecognizedFormat, std::move(text), path.string());
}

void CheckSignature(ByteView page, const std::filesystem::path& path) {
  if (page.size() < kPageSize) NotJet4("The file is too short to be an Access 2000 database", path);
  const std::string_view signature =
      storage::AsText(storage::Slice(page, header::kSignature, kSignatureText.size()));
  const std::uint8_t version = ReadByte(page, header::kVersion);
  if (signature == kLaterSignatureText || (signature == kSignatureText && version > kJet4)) {
    NotJet4("The file is a database of a later version of Access; save it in the Access 2000 format", path);
  }
  if (signature != kSignatureText) NotJet4("The file is not an Access database", path);
  if (version < kJet4) {
    NotJet4("The file is a database of Access 97 or older; convert it to the Access 2000 format", path);
  }
}

}  // namespace

HeaderPage ReadHeaderPage(ByteView page, const std::filesystem::path& path) {
  CheckSignature(page, path);
  Bytes plain(page.begin(), page.end());
  Mask(plain);
  HeaderPage result;
  result.code_page = ReadLittle<std::uint16_t>(plain, header::kCodePage);
  result.database_key = ReadLittle<std::uint32_t>(plain, header::kDatabaseKey);
  result.build = ReadLittle<std::uint32_t>(plain, header::kBuild);
  result.sort_order.lcid = ReadLittle<std::uint16_t>(plain, header::kSortOrder);
  result.sort_order.version = ReadByte(plain, header::kSortOrderVersion);
  result.created = std::bit_cast<double>(ReadLittle<std::uint64_t>(plain, header::kCreationDate));
  result.has_password = HasPassword(plain, result.created);
  return result;
}

bool HeaderNamesSystemPages(ByteView page) {
  Bytes plain(page.begin(), page.end());
  Mask(plain);
  Bytes expected = plain;
  WriteSystemPages(expected);
  return plain == expected;
}

Bytes MakeHeaderPage(const HeaderPage& contents) {
  Bytes page(kPageSize);
  page[1] = std::byte{1};
  std::ranges::copy(storage::AsBytes(kSignatureText), page.begin() + header::kSignature);
  WriteByte(page, header::kVersion, kJet4);
  WriteSystemPages(page);
  WriteLittle(page, header::kCodePage, contents.code_page);
  const auto days = static_cast<std::uint32_t>(static_cast<std::int32_t>(contents.created));
  for (std::size_t i = 0; i < kPasswordLength; i += 4) WriteLittle(page, header::kPassword + i, days);
  WriteLittle(page, header::kBuild, contents.build);
  WriteLittle(page, header::kSortOrder, contents.sort_order.lcid);
  WriteByte(page, header::kSortOrderVersion, contents.sort_order.version);
  WriteLittle(page, header::kCreationDate, std::bit_cast<std::uint64_t>(contents.created));
  Mask(page);
  WriteLittle(page, header::kMagic, header::kMagicValue);
  std::ranges::copy(storage::AsBytes(kEngineName), page.begin() + header::kEngineName);
  // Nobody has committed anything yet: 1 in the high byte of each counter, the first one being that of the
  // user who made the file.
  for (std::size_t at = header::kCommitCounters; at < kPageSize; at += 2) page[at + 1] = std::byte{1};
  page[header::kCommitCounters] = std::byte{1};
  return page;
}

}  // namespace corvix::jet
