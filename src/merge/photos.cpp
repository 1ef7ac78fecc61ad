#include "merge/photos.h"

#include <algorithm>

#include "common/text.h"
#include "common/trap.h"
#include "core/lookup.h"

namespace corvix::merge {
namespace {

using common::TagSplit;
using common::Trap;
using common::Trim;
using core::GetFieldData;
using core::kCentralKey;

constexpr std::string_view kPhotos = "PHOTOS";
constexpr std::string_view kFront = "FRONT";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kSeparator = "|";

void Assign(core::RecordSet& records, std::string_view field, std::string value) {
  records.Write(core::RequireField(records, field), core::Value(std::move(value)));
}

}  // namespace

bool ListHasItem(const TextList& list, std::string_view text) {
  return std::ranges::any_of(
      list, [&](const std::string& entry) { return common::EqualIgnoringCase(Trim(entry), Trim(text)); });
}

void LoadPhotoLists(const core::TableSource& source, TextList& views, TextList& images) {
  views.clear();
  images.clear();
  const std::string photos = GetFieldData(source, kPhotos);
  for (std::string_view rest = photos;;) {
    const std::string_view line = TagSplit(rest, "L", kLineEnd);
    if (line.empty()) return;
    AddPhotoItem(views, images, std::string(TagSplit(line, "L", kSeparator)),
                 std::string(TagSplit(line, "R", kSeparator)));
    rest = TagSplit(rest, "R", kLineEnd);
  }
}

void LoadPhotoListsByKey(core::TableSource& source, std::string& key, TextList& views, TextList& images) {
  if (core::FindRecord(source, key, kCentralKey)) {
    LoadPhotoLists(source, views, images);
  } else {
    views.clear();
    images.clear();
  }
}

void AddPhotoItem(TextList& views, TextList& images, std::string view, std::string picture_id) {
  views.push_back(std::move(view));
  images.push_back(std::move(picture_id));
}

std::string PhotoText(const TextList& views, const TextList& images) {
  std::string text;
  for (std::size_t i = 0; i < views.size(); ++i) {
    text.append(views[i]).append(kSeparator).append(images[i]).append(kLineEnd);
  }
  return text.empty() ? " " : text;
}

void SavePhotoLists(core::TableSource& source, const TextList& views, const TextList& images) {
  core::RecordSet& records = source.Records();
  std::string text = PhotoText(views, images);
  records.BeginEdit();
  Assign(records, kPhotos, std::move(text));
  records.Store();
}

PhotoFields::PhotoFields(const core::TableSource& photo)
    : key(photo.Records().FindField(kCentralKey)),
      picture_id(photo.Records().FindField("PICTID")),
      view(photo.Records().FindField("VIEW")) {}

int MergePhoto(core::ConversionSources& sources, std::string& key) {
  return MergePhoto(PhotoFields(sources.datphoto), sources, key);
}

int MergePhoto(const PhotoFields& fields, core::ConversionSources& sources, std::string& key) {
  int stored_lines = 0;
  common::Procedure("ErrMergePhoto", [&](const Trap& trap) {
    core::TableSource& photo = sources.datphoto;
    core::TableSource& target = sources.DATFOLVANE;
    TextList views, images;
    int added = 0;
    trap([&] { photo.Records().SelectIndex(kCentralKey); });
    trap([&] { LoadPhotoListsByKey(target, key, views, images); });
    bool found = false;
    trap([&] { found = core::FindRecord(photo, key, kCentralKey); });
    if (found) {
      std::string photo_key;
      GetFieldData(photo, fields.key, photo_key);
      while (Trim(photo_key) == Trim(key)) {
        std::string picture_id;
        GetFieldData(photo, fields.picture_id, picture_id);
        std::string view;
        GetFieldData(photo, fields.view, view);
        if (!ListHasItem(views, view)) {
          const bool is_front = Trim(view) == kFrontView;
          AddPhotoItem(views, images, std::move(view), std::move(picture_id));
          ++added;
          if (is_front) {
            trap([&] { target.Records().BeginEdit(); });
            trap([&] { Assign(target.Records(), kFront, "1"); });
            trap([&] { target.Records().Store(); });
          }
        }
        trap([&] { photo.Records().MoveNext(); });
        GetFieldData(photo, fields.key, photo_key);
      }
    }
    trap([&] {
      SavePhotoLists(target, views, images);
      stored_lines = added;
    });
  });
  return stored_lines;
}

}  // namespace corvix::merge
