// JavaScript values and back. Whatever fails leaves an exception on its way to JavaScript and answers false.
#pragma once

#include <node_api.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bindings-shared/arguments.h"

namespace vortena::napi {

/// The arguments of a call, taken one after another. JavaScript has checked them for its users: a wrong one is a
/// TypeError without much ado.
class NapiArguments final : public operations::Arguments {
 public:
  NapiArguments(napi_env env, napi_callback_info call);

  napi_value value();
  std::string text() override;  ///< a string's, or the bytes of a Buffer
  std::vector<std::string> texts() override;
  double number() override;
  bool truth() override;

  [[nodiscard]] bool any_left() const override { return next_ < values_.size(); }

  /// All of them were there and of the right kind. Otherwise an exception is on its way.
  [[nodiscard]] bool good() const override { return good_; }

  /// What the call's function was made with.
  [[nodiscard]] void* data() const { return data_; }

 private:
  std::string to_text(napi_value value);
  std::string bytes_of(napi_value buffer);
  void require(bool condition);

  napi_env env_;
  void* data_ = nullptr;
  std::vector<napi_value> values_;
  std::size_t next_ = 0;
  bool good_ = true;
};

/// Null when it cannot be made.
napi_value make_text(napi_env env, std::string_view text);

/// Does nothing when a value is null.
void set_member(napi_env env, napi_value object, const char* name, napi_value value);

}  // namespace vortena::napi
