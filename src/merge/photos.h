// The photo list of a target row: one line a view, "view|picture id" CR LF, kept in the field PHOTOS.
// MergePhoto folds the photo records of a key into it. Only references move; no image file is touched.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/connections.h"

namespace corvix::merge {

/// The view that sets FRONT, in this letter case only.
inline constexpr std::string_view kFrontView = "FRONT VIEW";

using TextList = std::vector<std::string>;

/// True when some entry equals the text, both trimmed and upper-cased.
bool ListHasItem(const TextList& list, std::string_view text);

/// Fills the two parallel lists from PHOTOS of the current row. Only lines that end with CR LF count; reading
/// stops at the first empty line; a line without "|" gives an empty view and an empty id.
void LoadPhotoLists(const core::TableSource& source, TextList& views, TextList& images);

/// Goes to the row with the key and loads its lists; without such a row both become empty. The key becomes
/// the fitted one, as in core::FindRecord.
void LoadPhotoListsByKey(core::TableSource& source, std::string& key, TextList& views, TextList& images);

void AddPhotoItem(TextList& views, TextList& images, std::string view, std::string picture_id);

/// The lists as PHOTOS holds them; an empty list as one blank.
std::string PhotoText(const TextList& views, const TextList& images);

/// Writes the lists into PHOTOS of the current row, in an edit of its own.
void SavePhotoLists(core::TableSource& source, const TextList& views, const TextList& images);

/// Where the photo table keeps what MergePhoto reads; resolved once for a run.
struct PhotoFields {
  /// The source must be connected (error 91) and stay so while this is used.
  explicit PhotoFields(const core::TableSource& photo);

  std::optional<std::size_t> key;  ///< CENTRALKEY
  std::optional<std::size_t> picture_id;
  std::optional<std::size_t> view;
};

/// Adds the views that the target row of `key` does not list yet, in index order, and sets FRONT when "FRONT
/// VIEW" is among them. Begins and stores its own edits. Returns the number of lines added and stored.
int MergePhoto(const PhotoFields& fields, core::ConversionSources& sources, std::string& key);
int MergePhoto(core::ConversionSources& sources, std::string& key);

}  // namespace corvix::merge
