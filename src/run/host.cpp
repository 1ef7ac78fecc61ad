#include "run/host.h"

#include <fmt/format.h>

namespace corvix::run {

std::string RebuiltIndexText(const std::vector<RebuiltIndex>& rebuilt) {
  std::string text;
  for (const RebuiltIndex& each : rebuilt) {
    if (!text.empty()) text += "\r\n";
    text += fmt::format(
        "The index CENTRALKEY of {} is not used: {}.  An index built from the records is used instead; the "
        "files stay as they are.",
        each.table, each.why);
  }
  return text;
}

void Host::IndexesRebuilt(const std::vector<RebuiltIndex>& rebuilt) { Notice(RebuiltIndexText(rebuilt)); }

void DisplayMessage(Label& target, std::string_view text, double text_colour) {
  target.SetTextColour(text_colour);
  target.SetCaption(text);
}

}  // namespace corvix::run
