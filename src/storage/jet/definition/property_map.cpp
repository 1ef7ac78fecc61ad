#include "storage/jet/definition/property_map.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/definition/utf16_bytes.h"

namespace corvix::jet {
namespace {

using storage::AppendLittle;
using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;
using storage::Slice;
using Bytes = std::vector<std::byte>;

// The blob: "MR2", zero, then blocks. docs/formats/jet4.md, "Properties", shows one.
//
//   block        0 4 length of the whole block   4 2 kind   6 content
//   names        (kind 0x80) per name: 2 bytes length, UTF-16LE
//   properties   (kind 0: of the object, kind 1: of a column) 4 bytes length of the owner part, itself
//   included;
//                2 bytes length of the owner's name; the name; then the values
//   value        0 2 length of the whole value   2 1 definition flag   3 1 type   4 2 name's place among the
//   names
//                6 2 length of the data   8 data
constexpr std::array kSignature{std::byte{'M'}, std::byte{'R'}, std::byte{'2'}, std::byte{0}};
constexpr std::size_t kBlockHead = 6;
constexpr std::uint16_t kObjectBlock = 0;
constexpr std::uint16_t kColumnBlock = 1;
constexpr std::uint16_t kNamesBlock = 0x80;
constexpr std::size_t kOwnerHead = 6;
constexpr std::size_t kValueHead = 8;
constexpr std::size_t kMaxData = 0xFFFF - kValueHead;

[[noreturn]] void Damaged(const std::string& text) {
  throw common::Error(common::kDamagedDatabase, "The properties of a table are damaged: " + text);
}

std::vector<std::string> ParseNames(ByteView content) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at < content.size();) {
    const auto length = ReadLittle<std::uint16_t>(content, at);
    names.push_back(TextOfUtf16(Slice(content, at + 2, length)));
    at += 2 + std::size_t{length};
  }
  return names;
}

Property ParseValue(ByteView value, const std::vector<std::string>& names) {
  const auto name = ReadLittle<std::uint16_t>(value, 4);
  if (name >= names.size()) Damaged(fmt::format("a value has name {} of {}", name, names.size()));
  const ByteView data = Slice(value, kValueHead, ReadLittle<std::uint16_t>(value, 6));
  return {names[name], ReadByte(value, 3), ReadByte(value, 2), Bytes(data.begin(), data.end())};
}

void AppendBlock(Bytes& out, std::uint16_t kind, const Bytes& content) {
  AppendLittle(out, static_cast<std::uint32_t>(kBlockHead + content.size()));
  AppendLittle(out, kind);
  out.insert(out.end(), content.begin(), content.end());
}

void AppendName(Bytes& out, std::string_view name) {
  Bytes text;
  AppendUtf16(text, name);
  AppendLittle(out, static_cast<std::uint16_t>(text.size()));
  out.insert(out.end(), text.begin(), text.end());
}

Property TextProperty(std::string_view name, ColumnType type, std::string_view value) {
  Property property{std::string(name), static_cast<std::uint8_t>(type), 1, {}};
  AppendUtf16(property.data, value);
  return property;
}

}  // namespace

Property Property::YesNo(std::string_view name, bool value) {
  return {std::string(name),
          static_cast<std::uint8_t>(ColumnType::YesNo),
          1,
          {value ? std::byte{1} : std::byte{0}}};
}

Property Property::Text(std::string_view name, std::string_view value) {
  return TextProperty(name, ColumnType::Text, value);
}

Property Property::Memo(std::string_view name, std::string_view value) {
  return TextProperty(name, ColumnType::Memo, value);
}

bool Property::AsBool() const { return !data.empty() && data[0] != std::byte{0}; }

std::string Property::AsText() const {
  const bool is_text = IsColumnType(type) && InfoOf(static_cast<ColumnType>(type)).text;
  return is_text ? TextOfUtf16(data) : std::string();
}

PropertyMap PropertyMap::Parse(ByteView blob, const Place& place) {
  PropertyMap map;
  if (blob.empty()) return map;
  try {
    map.ParseBlocks(blob);
  } catch (const common::Error& error) {
    ThrowDamaged(place, error.text());
  }
  return map;
}

void PropertyMap::ParseBlocks(ByteView blob) {
  if (!std::ranges::equal(Slice(blob, 0, kSignature.size()), kSignature))
    Damaged("they have another signature");
  for (std::size_t at = kSignature.size(); at < blob.size();) {
    const std::size_t length = ReadLittle<std::uint32_t>(blob, at);
    if (length < kBlockHead) Damaged(fmt::format("a block of {} bytes", length));
    const ByteView block = Slice(blob, at, length);
    const ByteView content = block.subspan(kBlockHead);
    at += length;

    const auto kind = ReadLittle<std::uint16_t>(block, 4);
    if (kind == kNamesBlock) {
      names_ = ParseNames(content);
    } else if (kind == kObjectBlock || kind == kColumnBlock) {
      blocks_.push_back(ParseBlock(kind, content, names_));
    } else {
      blocks_.push_back({kind, {}, {}, Bytes(content.begin(), content.end())});
    }
  }
}

PropertyMap::Block PropertyMap::ParseBlock(std::uint16_t kind, ByteView content,
                                           const std::vector<std::string>& names) {
  Block block;
  block.kind = kind;
  const std::size_t owner_length = ReadLittle<std::uint32_t>(content, 0);
  if (owner_length < kOwnerHead) Damaged(fmt::format("an owner of {} bytes", owner_length));
  const ByteView owner = Slice(content, 0, owner_length);
  block.owner = TextOfUtf16(Slice(owner, kOwnerHead, ReadLittle<std::uint16_t>(owner, 4)));
  for (std::size_t at = owner_length; at < content.size();) {
    const std::size_t length = ReadLittle<std::uint16_t>(content, at);
    if (length < kValueHead) Damaged(fmt::format("a value of {} bytes", length));
    block.properties.push_back(ParseValue(Slice(content, at, length), names));
    at += length;
  }
  return block;
}

Bytes PropertyMap::Build() const {
  if (empty()) return {};
  Bytes out(kSignature.begin(), kSignature.end());
  Bytes content;
  for (const std::string& name : names_) AppendName(content, name);
  AppendBlock(out, kNamesBlock, content);

  for (const Block& block : blocks_) {
    content = block.unknown;
    if (block.kind == kObjectBlock || block.kind == kColumnBlock) {
      Bytes owner;
      AppendName(owner, block.owner);
      AppendLittle(content, static_cast<std::uint32_t>(4 + owner.size()));
      content.insert(content.end(), owner.begin(), owner.end());
      for (const Property& property : block.properties) {
        const auto name = std::ranges::find(names_, property.name) - names_.begin();
        AppendLittle(content, static_cast<std::uint16_t>(kValueHead + property.data.size()));
        content.push_back(std::byte{property.definition});
        content.push_back(std::byte{property.type});
        AppendLittle(content, static_cast<std::uint16_t>(static_cast<std::size_t>(name)));
        AppendLittle(content, static_cast<std::uint16_t>(property.data.size()));
        content.insert(content.end(), property.data.begin(), property.data.end());
      }
    }
    AppendBlock(out, block.kind, content);
  }
  return out;
}

bool PropertyMap::Block::BelongsTo(std::string_view name) const {
  return kind == (name.empty() ? kObjectBlock : kColumnBlock) && common::EqualIgnoringCase(owner, name);
}

const Property* PropertyMap::Find(std::string_view owner, std::string_view name) const {
  const auto block = std::ranges::find_if(blocks_, [&](const Block& each) { return each.BelongsTo(owner); });
  if (block == blocks_.end()) return nullptr;
  const auto found = std::ranges::find_if(block->properties, [&](const Property& property) {
    return common::EqualIgnoringCase(property.name, name);
  });
  return found == block->properties.end() ? nullptr : &*found;
}

void PropertyMap::Set(std::string_view owner, Property property) {
  if (property.data.size() > kMaxData) {
    throw common::Error(common::kInvalidCall, "The property " + property.name + " is too long");
  }
  // A value names its property by place, so the spelling of the names block wins.
  const auto is_named = [&](const std::string& known) {
    return common::EqualIgnoringCase(known, property.name);
  };
  const auto name = std::ranges::find_if(names_, is_named);
  if (name != names_.end()) {
    property.name = *name;
  } else {
    names_.push_back(property.name);
  }

  auto block = std::ranges::find_if(blocks_, [&](const Block& each) { return each.BelongsTo(owner); });
  if (block == blocks_.end()) {
    blocks_.push_back({owner.empty() ? kObjectBlock : kColumnBlock, std::string(owner), {}, {}});
    block = blocks_.end() - 1;
  }
  const auto present = std::ranges::find(block->properties, property.name, &Property::name);
  if (present != block->properties.end()) {
    *present = std::move(property);
  } else {
    block->properties.push_back(std::move(property));
  }
}

std::string PropertyMap::TextOf(std::string_view owner, std::string_view name) const {
  const Property* property = Find(owner, name);
  return property ? property->AsText() : std::string();
}

ColumnRules PropertyMap::RulesOf(std::string_view column) const {
  const auto is_set = [&](std::string_view name) {
    const Property* property = Find(column, name);
    return property && property->AsBool();
  };
  return {is_set("Required"),
          is_set("AllowZeroLength"),
          TextOf(column, "DefaultValue"),
          {TextOf(column, "ValidationRule"), TextOf(column, "ValidationText")}};
}

ValidationRule PropertyMap::TableRule() const {
  return {TextOf({}, "ValidationRule"), TextOf({}, "ValidationText")};
}

}  // namespace corvix::jet
