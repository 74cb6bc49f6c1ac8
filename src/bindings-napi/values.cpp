// Node-API answers every call with a status; the first that is not ok ends the taking of arguments.
#include "bindings-napi/values.h"

namespace vortena::napi {

NapiArguments::NapiArguments(napi_env env, napi_callback_info call) : env_(env) {
  std::size_t count = 0;
  require(napi_get_cb_info(env, call, &count, nullptr, nullptr, nullptr) == napi_ok);
  values_.resize(count);
  require(napi_get_cb_info(env, call, &count, values_.data(), nullptr, &data_) == napi_ok);
}

void NapiArguments::require(bool condition) {
  if (good_ && !condition) {
    good_ = false;
    bool pending = false;
    if (napi_is_exception_pending(env_, &pending) == napi_ok && !pending) {
      napi_throw_type_error(env_, nullptr, "Wrong arguments");
    }
  }
}

napi_value NapiArguments::value() {
  require(any_left());
  return good_ ? values_[next_++] : nullptr;
}

std::string NapiArguments::to_text(napi_value value) {
  bool is_buffer = false;
  if (good_ && napi_is_buffer(env_, value, &is_buffer) == napi_ok && is_buffer) {
    return bytes_of(value);
  }
  std::size_t size = 0;
  require(good_ && napi_get_value_string_utf8(env_, value, nullptr, 0, &size) == napi_ok);
  std::string text(good_ ? size : 0, '\0');
  require(good_ && napi_get_value_string_utf8(env_, value, text.data(), size + 1, &size) == napi_ok);
  return text;
}

std::string NapiArguments::bytes_of(napi_value buffer) {
  void* data = nullptr;
  std::size_t size = 0;
  require(napi_get_buffer_info(env_, buffer, &data, &size) == napi_ok);
  return good_ && size > 0 ? std::string(static_cast<const char*>(data), size) : std::string();
}

std::string NapiArguments::text() {
  return to_text(value());
}

std::vector<std::string> NapiArguments::texts() {
  const napi_value array = value();
  std::uint32_t length = 0;
  require(good_ && napi_get_array_length(env_, array, &length) == napi_ok);
  std::vector<std::string> texts;
  for (std::uint32_t i = 0; good_ && i < length; ++i) {
    napi_value element = nullptr;
    require(napi_get_element(env_, array, i, &element) == napi_ok);
    texts.push_back(to_text(element));
  }
  return texts;
}

double NapiArguments::number() {
  double number = 0;
  const napi_value from = value();
  require(good_ && napi_get_value_double(env_, from, &number) == napi_ok);
  return number;
}

bool NapiArguments::truth() {
  bool truth = false;
  const napi_value from = value();
  require(good_ && napi_get_value_bool(env_, from, &truth) == napi_ok);
  return truth;
}

napi_value make_text(napi_env env, std::string_view text) {
  napi_value value = nullptr;
  return napi_create_string_utf8(env, text.data(), text.size(), &value) == napi_ok ? value : nullptr;
}

void set_member(napi_env env, napi_value object, const char* name, napi_value value) {
  if (object != nullptr && value != nullptr) {
    napi_set_named_property(env, object, name, value);
  }
}

}  // namespace vortena::napi
