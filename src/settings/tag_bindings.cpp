#include "settings/tag_bindings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>

#include "common/error.h"
#include "common/text.h"
#include "common/trap.h"
#include "core/text_form.h"
#include "settings/directory_tokens.h"
#include "settings/ini_file.h"

namespace corvix::settings {
namespace {

using common::Action;
using common::Error;
using common::Procedure;
using common::TagSplit;
using common::Trap;

/// The number at the start of the text as a control's state.
int StateOf(std::string_view text) {
  const double number = std::nearbyint(core::Val(text));
  using Limits = std::numeric_limits<std::int16_t>;
  if (number < Limits::min() || number > Limits::max()) throw Error(common::kOverflow);
  return static_cast<int>(number);
}

/// What the three loaders have in common: the value behind the control's binding, and what to do with it.
void Load(std::string_view procedure, const SettingsPlace& place, BoundControl& control,
          const std::function<void(std::string_view)>& assign) {
  Procedure(procedure, [&](const Trap& trap) {
    TagBinding binding;
    std::string file;
    std::string value;
    trap([&] { binding = SplitBinding(control.Tag()); });
    trap([&] { file = TagExpandDir(place, binding.file); });
    trap([&] { value = IniReadString(place, file, binding.section, binding.key, binding.default_value); });
    trap([&] { assign(value); });
  });
}

void Save(const SettingsPlace& place, const BoundControl& control, std::string_view value) {
  const TagBinding binding = SplitBinding(control.Tag());
  IniWriteString(place, TagExpandDir(place, binding.file), binding.section, binding.key, value);
}

}  // namespace

TagBinding SplitBinding(std::string_view tag) {
  const std::string_view behind_file = TagSplit(tag, "R", "[");
  const std::string_view behind_section = TagSplit(behind_file, "R", "]");
  return {std::string(TagSplit(tag, "L", "[")), std::string(TagSplit(behind_file, "L", "]")),
          std::string(TagSplit(behind_section, "L", "|")), std::string(TagSplit(behind_section, "R", "|"))};
}

bool TagIsTrue(std::string_view text) { return common::Trim(text) != "0"; }

std::string_view TagBoolStr(bool flag) { return flag ? "1" : "0"; }

void TagReadTag(const SettingsPlace& place, BoundControl& control) {
  Load("ErrTagReadTag", place, control, [&](std::string_view value) {
    if (common::UpperCase(control.Name()).find("TXT") != std::string::npos) {
      control.SetText(value);
    } else {
      control.SetCaption(value);
    }
  });
}

void TagReadOptionTag(const SettingsPlace& place, BoundControl& control) {
  Load("ErrTagReadOptionTag", place, control,
       [&](std::string_view value) { control.SetState(TagIsTrue(value) ? 1 : 0); });
}

void TagReadBkBoxTag(const SettingsPlace& place, BoundControl& control) {
  Load("ErrTagReadBkBoxTag", place, control,
       [&](std::string_view value) { control.SetState(StateOf(value)); });
}

void TagWriteTag(const SettingsPlace& place, BoundControl& control) { Save(place, control, control.Text()); }

void TagWriteOptionTag(const SettingsPlace& place, BoundControl& control) {
  Save(place, control, TagBoolStr(control.State() != 0));
}

void TagWriteBkBoxTag(const SettingsPlace& place, BoundControl& control) {
  Save(place, control, TagBoolStr(control.State() != 0));
}

std::string_view TagOf(std::string_view control) {
  const auto* setting = std::ranges::find(kSettings, control, &Setting::control);
  if (setting == kSettings.end()) {
    throw Error(common::kInvalidCall, "No setting belongs to the control '" + std::string(control) + "'");
  }
  return setting->tag;
}

void ReadTags(const SettingsPlace& place, const MainWindowControls& controls) {
  for (BoundControl* text : {&controls.txtCompPath, &controls.txtCompsPath, &controls.txtcompfilename,
                             &controls.txtcompsfilename}) {
    TagReadTag(place, *text);
  }
  for (BoundControl* option : controls.optdup) TagReadOptionTag(place, *option);

  bool no_state = false;
  const common::Rules rules = [&](const Error& error) -> std::optional<Action> {
    no_state = error.number() == common::kInvalidPropertyValue || error.number() == common::kOverflow;
    return no_state ? Action::Skip : Action::PassOn;
  };
  BoundControl& box = controls.ckbconvertphotos;
  const Trap trap(rules);
  trap([&] { TagReadBkBoxTag(place, box); });
  if (no_state) box.SetState(StateOf(SplitBinding(box.Tag()).default_value));
}

void WriteTags(const SettingsPlace& place, const MainWindowControls& controls) {
  TagWriteTag(place, controls.txtcompfilename);
  for (BoundControl* option : controls.optdup) TagWriteOptionTag(place, *option);
  TagWriteBkBoxTag(place, controls.ckbconvertphotos);
}

}  // namespace corvix::settings
