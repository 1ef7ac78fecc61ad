#include "ui/prompt_form.h"

#include <array>
#include <deque>
#include <vector>

namespace corvix::ui {
namespace {

using enum ControlKind;

constexpr std::array kFixed{
    ControlEntry{.name = "lblAsk", .kind = Label, .place = {240, 0, 8655, 255}, .centred = true},
    ControlEntry{
        .name = "cmdYes", .kind = Button, .caption = "&Yes", .place = {240, 240, 1695, 300}, .tab_index = 0},
    ControlEntry{
        .name = "cmdNo", .kind = Button, .caption = "&No", .place = {2160, 240, 1695, 300}, .tab_index = 1},
    ControlEntry{.name = "cmdStop",
                 .kind = Button,
                 .caption = "&Stop The Conversion",
                 .place = {4080, 240, 1695, 300},
                 .tab_index = 2},
    ControlEntry{.name = "frmSource", .kind = Frame, .caption = "Source", .place = {120, 600, 4335, 5415}},
    ControlEntry{.name = "Frame1", .kind = Frame, .caption = "Target", .place = {4560, 600, 4335, 5415}},
    ControlEntry{.name = "lblSourceRecords", .kind = Label, .place = {120, 6120, 5520, 375}},
    ControlEntry{.name = "cmdDontask",
                 .kind = Button,
                 .caption = "Overwrite and Continue Without Stopping",
                 .place = {5760, 6120, 3135, 375},
                 .tab_index = 3},
};
constexpr int kFirstBoxTab = 4;

// Inside a frame.
constexpr int kFirstLine = 330;
constexpr int kLineHeight = 315;
constexpr int kCellHeight = 285;
constexpr int kCaptionLeft = 105;
constexpr int kCaptionWidth = 1170;
constexpr int kSignWidth = 150;  // left of a cell

/// Left edge and width of a cell.
struct Column {
  int left;
  int width;
};
constexpr std::array kWhole{Column{1440, 2790}};
constexpr std::array kCityStateZip{Column{1440, 1140}, Column{2730, 360}, Column{3240, 990}};
constexpr std::array kThirds{Column{1440, 825}, Column{2415, 825}, Column{3390, 840}};
constexpr std::array<std::string_view, 3> kRoomCaptions{"Rms", "BedRm", "Bath"};

std::span<const Column> ColumnsOf(const run::PromptRow& row) {
  if (row.caption == "City") return kCityStateZip;
  if (row.caption == "Room Count") return kThirds;
  return kWhole;
}

/// Builds the table once; the names that it makes up live as long as it does.
class Table {
 public:
  Table() : controls_(kFixed.begin(), kFixed.end()) {
    for (const run::PromptRow& row : run::PromptRows()) AddRow(row);
  }
  std::span<const ControlEntry> controls() const { return controls_; }

 private:
  void AddRow(const run::PromptRow& row) {
    if (row.caption == "Room Count") AddColumnCaptions();
    AddSide("frmSource", "Source", row, row.source, Label);
    AddSide("Frame1", "Target", row, row.target, ReadOnlyBox);
    line_ += row.target.size() > ColumnsOf(row).size() ? 2 : 1;
  }

  /// The caption, and the cells in their columns; cells that find no column left go to the line below.
  void AddSide(std::string_view frame, std::string_view side, const run::PromptRow& row,
               const std::vector<run::PromptCell>& cells, ControlKind kind) {
    AddCaption(frame, row.caption, cells.front().control);
    const std::span<const Column> columns = ColumnsOf(row);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const Column& column = columns[i % columns.size()];
      const int top = LineTop() + static_cast<int>(i / columns.size()) * kLineHeight;
      controls_.push_back({.name = Keep(SignName(cells[i])),
                           .place = {column.left - kSignWidth, top, kSignWidth, kCellHeight},
                           .parent = frame,
                           .centred = true});
      controls_.push_back(
          {.name = cells[i].control,
           .kind = kind,
           .place = {column.left, top, column.width, kCellHeight},
           .parent = frame,
           .tab_index = kind == ReadOnlyBox ? kFirstBoxTab + boxes_++ : kNoTabStop,
           .spoken = kind == ReadOnlyBox ? Keep(SpokenName(side, row, i)) : std::string_view()});
    }
  }

  void AddCaption(std::string_view frame, std::string_view caption, std::string_view buddy) {
    controls_.push_back({.name = Keep("cap" + std::string(buddy)),
                         .caption = caption,
                         .place = {kCaptionLeft, LineTop(), kCaptionWidth, kCellHeight},
                         .parent = frame,
                         .buddy = buddy});
  }

  void AddColumnCaptions() {
    for (const std::string_view frame : {"frmSource", "Frame1"}) {
      controls_.push_back({.caption = "Above Grade",
                           .place = {kCaptionLeft, LineTop(), kCaptionWidth, kCellHeight},
                           .parent = frame});
      for (std::size_t i = 0; i < kRoomCaptions.size(); ++i) {
        controls_.push_back({.caption = kRoomCaptions[i],
                             .place = {kThirds[i].left, LineTop(), kThirds[i].width, kCellHeight},
                             .parent = frame});
      }
    }
    ++line_;
  }

  int LineTop() const { return kFirstLine + line_ * kLineHeight; }
  std::string_view Keep(std::string text) { return kept_.emplace_back(std::move(text)); }

  std::vector<ControlEntry> controls_;
  std::deque<std::string> kept_;  // never moves what it holds
  int line_ = 0;
  int boxes_ = 0;
};

}  // namespace

std::span<const ControlEntry> PromptControls() {
  static const Table table;
  return table.controls();
}

std::string SpokenName(std::string_view side, const run::PromptRow& row, std::size_t position) {
  static constexpr std::array<std::string_view, 2> kAddress{"Address", "Address, second line"};
  static constexpr std::array<std::string_view, 3> kCity{"City", "State", "Zip"};
  static constexpr std::array<std::string_view, 3> kRooms{"Rooms", "Bedrooms", "Baths"};
  std::string_view name = row.caption;
  if (name == "Address") name = kAddress.at(position);
  if (name == "City") name = kCity.at(position);
  if (name == "Room Count") name = kRooms.at(position);
  return std::string(side) + " " + std::string(name);
}

std::string SignName(const run::PromptCell& cell) { return "sign" + std::string(cell.control); }

}  // namespace corvix::ui
