// JSON texts under construction: objects and arrays, without spaces, members in the order in which they are added.
#pragma once

#include <array>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace vortena {

/// A JSON number that reads back as the same double, in 15 to 17 digits and under any locale; "null" for infinity and
/// not-a-number, which JSON cannot say.
std::string number_json(double value);

/// A JSON string: quotation marks, backslashes and control characters are escaped.
std::string text_json(std::string_view text);

/// A JSON object. Names are ours and need no escaping.
class JsonObject {
 public:
  void number(std::string_view name, std::integral auto value) { member(name, std::to_string(value)); }
  void number(std::string_view name, double value) { member(name, number_json(value)); }

  /// Null when there is none.
  template <typename Number>
  void number(std::string_view name, const std::optional<Number>& value) {
    value ? number(name, *value) : null(name);
  }

  void boolean(std::string_view name, bool value) { member(name, value ? "true" : "false"); }
  void null(std::string_view name) { member(name, "null"); }
  void text(std::string_view name, std::string_view value) { member(name, text_json(value)); }

  /// Any value that is JSON already.
  void member(std::string_view name, std::string_view json) {
    text_.append("\"").append(name).append("\":").append(json).append(",");
  }

  /// The whole object; nothing may be added afterwards.
  std::string close() {
    if (text_.size() > 1) {
      text_.pop_back();
    }
    return text_ += "}";
  }

 private:
  std::string text_ = "{";
};

/// A JSON array of values that are JSON already.
class JsonArray {
 public:
  void element(std::string_view json) { text_.append(json).append(","); }

  /// The whole array; nothing may be added afterwards.
  std::string close() {
    if (text_.size() > 1) {
      text_.pop_back();
    }
    return text_ += "]";
  }

 private:
  std::string text_ = "[";
};

/// {"x":…,"y":…,"z":…}
std::string axes_json(const std::array<double, 3>& axes);

}  // namespace vortena
