// The first page of a Jet file: what the file is (version, encoding, password) and how it sorts. Most of it
// is masked with a fixed stream of bytes; here everything is plain.
// docs/formats/jet4.md, "Header page".
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/sort_order.h"

namespace corvix::jet {

struct HeaderPage {
  std::uint16_t code_page = 1252;
  std::uint32_t database_key = 0;  ///< not 0: the other pages are encoded with it
  bool has_password = false;
  std::uint32_t build = 0;  ///< of the engine that made the file
  SortOrder sort_order;     ///< for new text columns
  double created = 0;       ///< days since 1899-12-30
};

/// Reads the first page (its first kPageSize bytes). Error 3343, naming `path`, when this is no Jet 4 file;
/// the text tells other versions apart.
HeaderPage ReadHeaderPage(storage::ByteView page, const std::filesystem::path& path);

/// True when the header names the pages at which the catalogue is looked for: every file has the same ones.
bool HeaderNamesSystemPages(storage::ByteView page);

/// The first page of a new file, without password and encoding. has_password and database_key must not be
/// set.
std::vector<std::byte> MakeHeaderPage(const HeaderPage& header);

}  // namespace corvix::jet
