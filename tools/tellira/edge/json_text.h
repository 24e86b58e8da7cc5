// Building JSON for standard output.
#pragma once

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// A JSON value. Objects keep the order in which their members are set.
class Json {
 public:
  Json() = default;  ///< null
  Json(bool value) : text_(value ? "true" : "false") {}
  template <std::integral Number>
  Json(Number number) : text_(std::to_string(number)) {}
  /// @param text UTF-8; what is none becomes a replacement character
  Json(std::string_view text);
  Json(const std::string& text) : Json(std::string_view(text)) {}
  Json(const char* text) : Json(std::string_view(text)) {}
  Json(const std::vector<std::string>& texts);
  /// An object.
  Json(std::initializer_list<std::pair<const char*, Json>> members);
  static Json array();

  /// The member of that name, which makes this an object.
  Json& operator[](const char* name);
  /// To an array().
  void push_back(Json value);

  /// The value in one line.
  std::string text() const;
  /// The values of an array.
  const std::vector<Json>& values() const { return values_; }
  bool isArray() const { return kind_ == Kind::kArray; }

 private:
  enum class Kind { kScalar, kArray, kObject };

  Kind kind_ = Kind::kScalar;
  std::string text_ = "null";
  std::vector<std::string> names_;  // of an object's values, as JSON texts
  std::vector<Json> values_;
};

/// One JSON text on standard output: an object in one line, an array with one member a line. Texts in it must be
/// masked already.
void printJson(const Json& json);

/// True when the text is JSON as it stands.
bool isJson(std::string_view text);

}  // namespace tool
