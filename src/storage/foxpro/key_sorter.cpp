#include "storage/foxpro/key_sorter.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace corvix::foxpro {

using storage::ByteView;

namespace {

constexpr std::size_t kLeastBuffered = 64;  // entries

bool IsLess(ByteView a, ByteView b) { return std::memcmp(a.data(), b.data(), a.size()) < 0; }

}  // namespace

KeySorter::KeySorter(std::size_t key_length, std::size_t budget) : key_length_(key_length), budget_(budget) {}

void KeySorter::Add(ByteView key, std::uint32_t record) {
  const std::size_t at = entries_.size();
  if (at + entry_size() > budget_ && at > 0) {
    PutAside();
    return Add(key, record);
  }
  entries_.resize(at + entry_size());
  std::ranges::copy(key, entries_.begin() + static_cast<std::ptrdiff_t>(at));
  storage::WriteBig<std::uint32_t>(entries_, at + key_length_, record);
  greatest_record_ = std::max(greatest_record_, record);
}

void KeySorter::SortEntries() {
  order_.resize(entries_.size() / entry_size());
  std::iota(order_.begin(), order_.end(), 0U);
  std::ranges::sort(order_, [&](std::uint32_t a, std::uint32_t b) { return IsLess(EntryAt(a), EntryAt(b)); });
}

void KeySorter::PutAside() {
  SortEntries();
  std::vector<std::byte> sorted;
  sorted.reserve(entries_.size());
  for (const std::uint32_t position : order_) {
    const ByteView entry = EntryAt(position);
    sorted.insert(sorted.end(), entry.begin(), entry.end());
  }
  const std::uint64_t begin = file_.Size();
  file_.WriteAt(begin, sorted);
  parts_.push_back({.offset = begin, .end = begin + sorted.size()});
  entries_.clear();
}

void KeySorter::Sort() {
  if (parts_.empty()) return SortEntries();
  if (!entries_.empty()) PutAside();
  entries_ = {};
  const std::size_t buffered = std::max(kLeastBuffered, budget_ / entry_size() / parts_.size());
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    parts_[i].buffer.resize(buffered * entry_size());
    parts_[i].at = parts_[i].buffer.size();  // nothing is in it yet
    if (Advance(parts_[i])) heap_.push_back(i);
  }
  const auto behind = [this](std::size_t a, std::size_t b) { return IsBehind(a, b); };
  std::ranges::make_heap(heap_, behind);
}

bool KeySorter::Advance(Part& part) {
  if (part.at < part.buffer.size()) return true;
  part.buffer.resize(std::min<std::uint64_t>(part.buffer.size(), part.end - part.offset));
  file_.ReadAt(part.offset, part.buffer);
  part.offset += part.buffer.size();
  part.at = 0;
  return !part.buffer.empty();
}

bool KeySorter::IsBehind(std::size_t a, std::size_t b) const {
  const auto entry = [this](std::size_t i) {
    return ByteView(parts_[i].buffer).subspan(parts_[i].at, entry_size());
  };
  return IsLess(entry(b), entry(a));
}

bool KeySorter::Next() {
  if (parts_.empty()) {
    if (next_ == order_.size()) return false;
    entry_ = EntryAt(order_[next_++]);
    return true;
  }
  if (heap_.empty()) return false;
  const auto behind = [this](std::size_t a, std::size_t b) { return IsBehind(a, b); };
  std::ranges::pop_heap(heap_, behind);
  Part& part = parts_[heap_.back()];
  const ByteView entry = ByteView(part.buffer).subspan(part.at, entry_size());
  lowest_.assign(entry.begin(), entry.end());
  entry_ = lowest_;
  part.at += entry_size();
  if (Advance(part)) {
    std::ranges::push_heap(heap_, behind);
  } else {
    heap_.pop_back();
  }
  return true;
}

}  // namespace corvix::foxpro
