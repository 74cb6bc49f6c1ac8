// JavaScript values and back. Whatever fails leaves an exception on its way to JavaScript and answers false.
#pragma once

#include <node_api.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vortena::napi {

/// The arguments of a call, taken one after another. JavaScript has checked them for its users: a wrong one is a
/// TypeError without much ado.
class Arguments {
 public:
  Arguments(napi_env env, napi_callback_info call);

  napi_value value();
  std::string text();
  std::vector<std::string> texts();
  double number();
  bool truth();

  [[nodiscard]] bool any_left() const { return next_ < values_.size(); }

  /// All of them were there and of the right kind. Otherwise an exception is on its way.
  [[nodiscard]] bool good() const { return good_; }

 private:
  std::string to_text(napi_value value);
  void require(bool condition);

  napi_env env_;
  std::vector<napi_value> values_;
  std::size_t next_ = 0;
  bool good_ = true;
};

/// Null when it cannot be made.
napi_value make_text(napi_env env, std::string_view text);

/// Does nothing when a value is null.
void set_member(napi_env env, napi_value object, const char* name, napi_value value);

}  // namespace vortena::napi
