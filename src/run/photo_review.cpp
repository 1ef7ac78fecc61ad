#include "run/photo_review.h"

#include <fmt/format.h>

#include "common/text.h"
#include "core/lookup.h"
#include "merge/photos.h"
#include "merge/store_rules.h"

namespace corvix::run {
namespace {

using core::GetFieldData;
using core::kCentralKey;

}  // namespace

void PhotoReview::Review(const std::string& key, bool row_is_there, std::int64_t number,
                         const std::string& exact) {
  std::string sought = key;
  if (!core::FindRecord(photo_, sought, kCentralKey)) return;
  merge::TextList views, images;
  if (row_is_there) merge::LoadPhotoLists(target_, views, images);
  core::RecordSet& records = photo_.Records();
  const WarningList::Spot first{"PHOTO", "PHOTOS", number, records.RecordNumber(), exact};
  for (; common::Trim(GetFieldData(photo_, kCentralKey)) == common::Trim(sought); records.MoveNext()) {
    const std::string view = GetFieldData(photo_, "VIEW");
    const WarningList::Spot spot{"PHOTO", "VIEW", number, records.RecordNumber(), exact};
    if (view.find('|') != std::string::npos) {
      warnings_.Count(Concern::ViewAgain, spot, view,
                      "a view with | in its name is not known again; each conversion adds it once more");
    }
    if (!merge::ListHasItem(views, view)) {
      merge::AddPhotoItem(views, images, view, GetFieldData(photo_, "PICTID"));
      if (common::Trim(view) == merge::kFrontView)
        CheckField("FRONT", "1", {"PHOTO", "FRONT", number, spot.source_record, exact});
    }
    if (records.PastEnd()) break;
  }
  CheckField("PHOTOS", merge::PhotoText(views, images), first);
}

void PhotoReview::CheckField(std::string_view field, const std::string& text, const WarningList::Spot& spot) {
  const merge::TargetField found = merge::FindTargetField(target_.Records(), field);
  if (!found) {
    warnings_.Count(Concern::NoTargetField, spot, {}, fmt::format("the target has no field '{}'", field),
                    common::Error(common::kItemNotFound));
  } else if (const auto error = merge::AssignmentError(*found.field, text)) {
    warnings_.Count(error->number() == common::kFieldTooSmall ? Concern::PhotoListTooLong : Concern::Refused,
                    spot, {}, error->what(), error);
  }
}

}  // namespace corvix::run
