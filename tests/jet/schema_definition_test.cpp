// Table definitions, the header page and property blobs: what is read is written again byte for byte, and
// damage is refused.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/base/bytes.h"
#include "storage/jet/header_page.h"
#include "storage/jet/table_definition.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using storage::ByteView;
using Bytes = std::vector<std::byte>;

// The joined pages of a definition as they stand in the file, with the bytes zeroed that mean nothing.
Bytes StoredDefinition(Pager& pager, const TableDefinition& table) {
  Bytes bytes;
  for (const PageNumber page : table.pages) {
    const PageView view = pager.Read(page);
    const ByteView content = bytes.empty() ? view.bytes() : view.bytes().subspan(definition::kPageHead);
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
  const auto clear = [&bytes](std::size_t offset, std::size_t length) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, std::byte{});
  };
  bytes.resize(storage::ReadLittle<std::uint32_t>(bytes, definition::kLength));
  clear(definition::kFree, 6);
  clear(definition::kAutonumberFlag + 1, definition::kKind - definition::kAutonumberFlag - 1);
  std::size_t at = definition::kCounters + definition::kCounterSize * table.real_indexes.size();
  for (const Column& column : table.columns) {
    if (!column.IsFixed()) clear(at + column_descriptor::kFixedOffset, 2);
    at += column_descriptor::kSize;
  }
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    at += 2 + storage::ReadLittle<std::uint16_t>(bytes, at);
  for (const RealIndex& index : table.real_indexes) {
    for (std::size_t i = index.columns.size(); i < kMaxIndexColumns; ++i)
      clear(at + real_index::kColumns + 3 * i + 2, 1);
    clear(at + 42, 4);
    at += real_index::kSize;
  }
  return bytes;
}

// "offset: made stored" for each byte that differs.
std::string Differences(const Bytes& made, const Bytes& stored) {
  std::string text = made.size() == stored.size() ? "" : "another length ";
  for (std::size_t i = 0; i < std::min(made.size(), stored.size()); ++i) {
    if (made[i] != stored[i]) text += fmt::format("{}: {:02x} {:02x}  ", i, made[i], stored[i]);
  }
  return text;
}

TEST(TableDefinition, RealOnesAreEncodedAsTheyStand) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  int tables = 0;
  for (const auto& file : files) {
    const auto pager = test::OpenPager(system, file);
    for (PageNumber page = 2; page < pager->page_count(); ++page) {
      const PageView view = pager->Read(page);
      if (storage::ReadByte(view.bytes(), 0) != 2 ||
          storage::ReadLittle<std::uint32_t>(view.bytes(), definition::kMagic) != definition::kMagicValue) {
        continue;
      }
      SCOPED_TRACE(file.string() + ", page " + std::to_string(page));
      const TableDefinition table = ReadTableDefinition(*pager, page);
      EXPECT_EQ(Differences(EncodeTableDefinition(table), StoredDefinition(*pager, table)), "");
      ++tables;
    }
  }
  EXPECT_GT(tables, 200);
}

TEST(HeaderPage, TheOneOfAnEngineMadeFileIsMadeAgain) {
  const auto file = test::SharedFile("fixtures/mdb/real/adox_jet4.mdb");
  if (!file) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  const auto pager = test::OpenPager(system, *file);
  const PageView page = pager->Read(0);
  const HeaderPage header = ReadHeaderPage(page.bytes(), *file);
  EXPECT_EQ(header.code_page, 1252);
  EXPECT_EQ(header.database_key, 0U);
  EXPECT_FALSE(header.has_password);
  EXPECT_TRUE(header.sort_order.IsGeneral());
  EXPECT_EQ(MakeHeaderPage(header), Bytes(page.bytes().begin(), page.bytes().end()));
}

}  // namespace
}  // namespace corvix::jet
