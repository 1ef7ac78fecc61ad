// Checks of single pages: the cells of data pages, and usage maps with the pages that they name.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "storage/jet/check/check_context.h"
#include "storage/jet/pages/page.h"

namespace corvix::jet::check {

/// Reports a page whose second byte is not 1, which it is on every page. `what` names the page's owner.
void CheckHead(Context& context, const PageView& page, const std::string& what);

/// The cells of a data page in the order of their rows; a cell whose bounds are impossible has length 0 and
/// is marked deleted.
std::vector<Cell> CheckCells(Context& context, const PageView& page, const std::string& what);

/// The cell of a row; none when the page has no such row or its bounds are impossible. Reports nothing.
std::optional<Cell> FindCell(const PageView& page, std::size_t row);

/// Reads the page and reports it when it is no data page of this owner; then there is no view.
std::optional<PageView> ReadDataPage(Context& context, PageNumber page, std::uint32_t owner,
                                     const std::string& what);

/// The pages that a usage map names, ascending, and how far its bits reach.
struct PageSet {
  std::vector<PageNumber> pages;  ///< inside the file
  PageNumber first_beyond = 0;    ///< first page named beyond the end of the file; 0: none
  PageNumber reach = 0;           ///< one past the last page that there is a bit for
};

/// Reads and checks the map in that cell; none when there is no sound one, which is reported. The pages of
/// the map itself are claimed.
std::optional<PageSet> ReadMap(Context& context, RowRef cell, const std::string& what);

/// The same for maps of things that may not exist: pages beyond the end are problems.
std::optional<PageSet> ReadOwnedPages(Context& context, RowRef cell, const std::string& what);

}  // namespace corvix::jet::check
