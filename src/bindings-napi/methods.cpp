// The frame of src/bindings-js.cpp once more, step by step, on the calls of Node-API. Each of them answers with a
// status; one that is not ok has left its exception pending, and the method only has to return.
#include "bindings-napi/methods.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bindings-shared/method_arguments.h"
#include "reader/bin_reader2.h"

namespace vortena::napi {
namespace {

constexpr std::size_t kMostArguments = 2;

/// The arguments of a call; what was not given is undefined, and further ones are ignored.
struct Call {
  Call(napi_env environment, napi_callback_info info) : env(environment), count(kMostArguments) {
    if (napi_get_cb_info(env, info, &count, arguments.data(), nullptr, nullptr) != napi_ok) {
      count = 0;
    }
  }

  napi_value operator[](std::size_t index) const { return arguments[index]; }

  napi_env env;
  std::size_t count;
  std::array<napi_value, kMostArguments> arguments{};
};

/// Handles that are made while it lives are released with it.
class HandleScope {
 public:
  explicit HandleScope(napi_env env) : env_(env) { napi_open_handle_scope(env, &scope_); }
  HandleScope(const HandleScope&) = delete;
  HandleScope& operator=(const HandleScope&) = delete;
  HandleScope(HandleScope&&) = delete;
  HandleScope& operator=(HandleScope&&) = delete;
  ~HandleScope() { napi_close_handle_scope(env_, scope_); }

 private:
  napi_env env_;
  napi_handle_scope scope_ = nullptr;
};

void throw_error(napi_env env, const char* message) {
  if (napi_throw_error(env, nullptr, message) != napi_ok) {
    napi_throw_error(env, nullptr, "The call failed");
  }
}

bool is_string(napi_env env, napi_value value) {
  napi_valuetype type = napi_undefined;
  return napi_typeof(env, value, &type) == napi_ok && type == napi_string;
}

bool is_of_kind(napi_env env, napi_value value, Kind kind) {
  bool is_array = false;
  return kind == Kind::kString ? is_string(env, value) : napi_is_array(env, value, &is_array) == napi_ok && is_array;
}

bool check_arguments(const Call& call, std::initializer_list<Kind> kinds) {
  if (call.count < kinds.size()) {
    napi_throw_type_error(call.env, nullptr, "Wrong number of arguments");
    return false;
  }
  std::size_t index = 0;
  for (const Kind kind : kinds) {
    if (!is_of_kind(call.env, call[index++], kind)) {
      napi_throw_type_error(call.env, nullptr, "Wrong arguments");
      return false;
    }
  }
  return true;
}

/// Of Node.js, whose own conversion leaves halves of surrogate pairs as they are in earlier ones. addon.node takes
/// that.
constexpr std::uint32_t kFirstReleaseThatReplaces = 24;
constexpr std::string_view kReplacement = "\xef\xbf\xbd";

bool replaces_surrogates(napi_env env) {
  const napi_node_version* node = nullptr;
  return napi_get_node_version(env, &node) != napi_ok || node->major >= kFirstReleaseThatReplaces;
}

bool is_high_surrogate(char16_t unit) {
  return unit >= 0xd800 && unit < 0xdc00;
}

bool is_low_surrogate(char16_t unit) {
  return unit >= 0xdc00 && unit < 0xe000;
}

std::size_t utf8_bytes(char16_t unit) {
  return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
}

/// Node-API replaces them always. What it replaced becomes three bytes that are no UTF-8 again.
void restore_surrogates(std::u16string_view units, std::string* text) {
  std::size_t at = 0;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char16_t unit = units[i];
    if (is_high_surrogate(unit) && i + 1 < units.size() && is_low_surrogate(units[i + 1])) {
      at += 4;
      ++i;
      continue;
    }
    if (is_high_surrogate(unit) || is_low_surrogate(unit)) {
      (*text)[at] = static_cast<char>(0xe0 | unit >> 12);
      (*text)[at + 1] = static_cast<char>(0x80 | (unit >> 6 & 0x3f));
      (*text)[at + 2] = static_cast<char>(0x80 | (unit & 0x3f));
    }
    at += utf8_bytes(unit);
  }
}

/// A string as UTF-8, up to its first zero character.
std::string text_of(napi_env env, napi_value value) {
  std::size_t length = 0;
  napi_get_value_string_utf16(env, value, nullptr, 0, &length);
  require_memory_for_text(length);
  std::size_t size = 0;
  napi_get_value_string_utf8(env, value, nullptr, 0, &size);
  std::string text(size, '\0');
  napi_get_value_string_utf8(env, value, text.data(), size + 1, &size);
  if (text.find(kReplacement) != std::string::npos && !replaces_surrogates(env)) {
    std::u16string units(length, u'\0');
    napi_get_value_string_utf16(env, value, units.data(), length + 1, &length);
    restore_surrogates(units, &text);
  }
  text.resize(std::strlen(text.c_str()));
  return text;
}

std::string text_of(const Call& call, std::size_t index) {
  return text_of(call.env, call[index]);
}

/// Element `index` if it is a string; otherwise null, with an exception on its way to JavaScript.
napi_value fetch_string(napi_env env, napi_value array, std::uint32_t index) {
  napi_value element = nullptr;
  if (napi_get_element(env, array, index, &element) != napi_ok) {
    return nullptr;
  }
  if (!is_string(env, element)) {
    napi_throw_type_error(env, nullptr, "Wrong arguments");
    return nullptr;
  }
  return element;
}

/// Fetched once to test and once to take; a getter may answer differently, so both are tested.
bool add_element(napi_env env, napi_value array, std::uint32_t index, PathList* list) {
  const HandleScope scope(env);
  if (fetch_string(env, array, index) == nullptr) {
    return false;
  }
  if (list->is_too_long()) {
    return true;
  }
  const napi_value element = fetch_string(env, array, index);
  if (element != nullptr) {
    list->add(text_of(env, element).c_str());
  }
  return element != nullptr;
}

/// The array's strings; empty, with an exception on its way, when an element is not one.
std::optional<std::vector<std::string>> string_list(napi_env env, napi_value array) {
  PathList list;
  std::uint32_t length = 0;
  napi_get_array_length(env, array, &length);
  for (std::uint32_t index = 0; index < length && list.tests(index); ++index) {
    if (!add_element(env, array, index, &list)) {
      return std::nullopt;
    }
  }
  return list.take();
}

/// The answer up to its first zero byte, or undefined when no string can be made of it.
napi_value make_answer(napi_env env, const std::string& answer) {
  napi_value value = nullptr;
  return napi_create_string_utf8(env, answer.c_str(), NAPI_AUTO_LENGTH, &value) == napi_ok ? value : nullptr;
}

/// The frame of every method. `operation` takes the checked call and returns the answer, or nothing when an
/// exception is already on its way to JavaScript.
template <typename Operation>
napi_value run_method(napi_env env, napi_callback_info info, std::initializer_list<Kind> kinds, Operation operation) {
  napi_value value = nullptr;
  const auto method = [&] {
    const Call call(env, info);
    if (!check_arguments(call, kinds)) {
      return;
    }
    if (const std::optional<std::string> answer = operation(call)) {
      value = make_answer(env, *answer);
    }
  };
  guard(method, [env](const char* message) { throw_error(env, message); });
  return value;
}

napi_value read(napi_env env, napi_callback_info info) {
  return run_method(env, info, {Kind::kString, Kind::kString}, [](const Call& call) {
    return std::optional(BinReader2().read(text_of(call, 0).c_str(), text_of(call, 1).c_str()));
  });
}

napi_value read_and_sync2(napi_env env, napi_callback_info info) {
  return run_method(env, info, {Kind::kArray, Kind::kString}, [](const Call& call) -> std::optional<std::string> {
    const std::optional<std::vector<std::string>> paths = string_list(call.env, call[0]);
    if (!paths) {
      return std::nullopt;
    }
    return BinReader2().readAndSync(*paths, text_of(call, 1));
  });
}

napi_value read_config(napi_env env, napi_callback_info info) {
  return run_method(env, info, {Kind::kString},
                    [](const Call& call) { return std::optional(BinReader2().readConfig(text_of(call, 0).c_str())); });
}

napi_value write_config(napi_env env, napi_callback_info info) {
  return run_method(env, info, {Kind::kString, Kind::kString}, [](const Call& call) {
    const bool created = BinReader2().writeConfig(text_of(call, 0).c_str(), text_of(call, 1).c_str());
    return std::optional<std::string>(created ? "OK" : "ERROR");
  });
}

napi_value read_config_device_id(napi_env env, napi_callback_info info) {
  return run_method(env, info, {Kind::kString}, [](const Call& call) {
    return std::optional(BinReader2().readConfigDeviceId(text_of(call, 0).c_str()));
  });
}

/// Creates the function by itself: one that a property descriptor creates has no name.
void define_method(napi_env env, napi_value object, const char* name, napi_callback callback) {
  napi_value function = nullptr;
  if (napi_create_function(env, name, NAPI_AUTO_LENGTH, callback, nullptr, &function) == napi_ok) {
    napi_set_named_property(env, object, name, function);
  }
}

}  // namespace

void define_methods(napi_env env, napi_value exports) {
  napi_value methods = nullptr;
  if (napi_create_object(env, &methods) != napi_ok) {
    return;
  }
  define_method(env, methods, "read", read);
  define_method(env, methods, "readAndSync2", read_and_sync2);
  define_method(env, methods, "readConfig", read_config);
  define_method(env, methods, "writeConfig", write_config);
  define_method(env, methods, "readConfigDeviceId", read_config_device_id);
  napi_set_named_property(env, exports, "methods", methods);
}

}  // namespace vortena::napi
