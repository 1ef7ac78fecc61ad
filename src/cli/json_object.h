// One JSON object on one line, built member by member.
#pragma once

#include <concepts>
#include <fmt/format.h>
#include <string>
#include <string_view>

#include "core/json_form.h"

namespace corvix::cli {

class JsonObject {
 public:
  JsonObject& Text(std::string_view name, std::string_view text) {
    Name(name);
    core::AppendJsonText(json_, text);
    return *this;
  }
  JsonObject& Number(std::string_view name, std::integral auto number) {
    return Raw(name, fmt::format("{}", number));
  }
  JsonObject& Truth(std::string_view name, bool truth) { return Raw(name, truth ? "true" : "false"); }
  JsonObject& Value(std::string_view name, const core::Value& value) {
    Name(name);
    core::AppendJson(json_, value);
    return *this;
  }
  /// A member that is JSON already.
  JsonObject& Raw(std::string_view name, std::string_view json) {
    Name(name);
    json_ += json;
    return *this;
  }
  std::string Finish() const { return json_ + '}'; }

 private:
  void Name(std::string_view name) {
    if (json_.size() > 1) json_ += ", ";
    core::AppendJsonText(json_, name);
    json_ += ": ";
  }

  std::string json_ = "{";
};

/// The items as a JSON array, each turned into JSON by `to_json`.
template <typename Items, typename ToJson>
std::string JsonArray(const Items& items, ToJson to_json) {
  std::string array = "[";
  for (const auto& item : items) {
    if (array.size() > 1) array += ", ";
    array += to_json(item);
  }
  return array + ']';
}

}  // namespace corvix::cli
