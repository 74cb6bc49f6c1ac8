// The module's boundary with Node.js: the module record, the five methods, and the one frame that all of them
// follow. The frame checks and converts arguments, runs one operation of the reader and hands its text back.
// It is also the last line of defence: a C++ exception that left a callback would end the process.
#include <node.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "bindings-shared/method_arguments.h"
#include "reader/bin_reader2.h"

namespace demo {

using v8::Array;
using v8::Context;
using v8::Exception;
using v8::HandleScope;
using v8::Isolate;
using v8::Local;
using v8::NewStringType;
using v8::Object;
using v8::String;
using v8::Value;
using vortena::BinReader2;
using vortena::Kind;
using vortena::PathList;

using Call = v8::FunctionCallbackInfo<Value>;

namespace {

void throw_error(Isolate* isolate, const char* message) {
  Local<String> text;
  if (!String::NewFromUtf8(isolate, message).ToLocal(&text)) {
    text = String::NewFromUtf8Literal(isolate, "The call failed");
  }
  isolate->ThrowException(Exception::Error(text));
}

void throw_wrong_arguments(Isolate* isolate) {
  isolate->ThrowException(Exception::TypeError(String::NewFromUtf8Literal(isolate, "Wrong arguments")));
}

bool is_of_kind(const Local<Value>& value, Kind kind) {
  return kind == Kind::kString ? value->IsString() : value->IsArray();
}

/// Tests the count, then the arguments in order; throws the TypeError that applies. Further arguments are
/// ignored.
bool check_arguments(const Call& call, std::initializer_list<Kind> kinds) {
  Isolate* isolate = call.GetIsolate();
  if (call.Length() < static_cast<int>(kinds.size())) {
    isolate->ThrowException(Exception::TypeError(String::NewFromUtf8Literal(isolate, "Wrong number of arguments")));
    return false;
  }
  int index = 0;
  for (const Kind kind : kinds) {
    if (!is_of_kind(call[index++], kind)) {
      throw_wrong_arguments(isolate);
      return false;
    }
  }
  return true;
}

/// A string argument as zero-terminated UTF-8, alive as long as this object. Lone surrogates become U+FFFD.
class Utf8Text {
 public:
  Utf8Text(Isolate* isolate, const Local<Value>& value) : text_(isolate, require_memory(value)) {}

  [[nodiscard]] const char* c_str() const { return *text_ == nullptr ? "" : *text_; }

 private:
  static Local<Value> require_memory(const Local<Value>& value) {
    vortena::require_memory_for_text(static_cast<std::size_t>(value.As<String>()->Length()));
    return value;
  }

  String::Utf8Value text_;
};

/// Element `index` if it is a string; otherwise empty, with an exception on its way to JavaScript.
std::optional<Local<String>> fetch_string(Isolate* isolate, const Local<Array>& array, std::uint32_t index) {
  Local<Value> element;
  if (!array->Get(isolate->GetCurrentContext(), index).ToLocal(&element)) {
    return std::nullopt;
  }
  if (!element->IsString()) {
    throw_wrong_arguments(isolate);
    return std::nullopt;
  }
  return element.As<String>();
}

/// Fetched once to test and once to take; a getter may answer differently, so both are tested.
bool add_element(Isolate* isolate, const Local<Array>& array, std::uint32_t index, PathList* list) {
  const HandleScope scope(isolate);
  if (!fetch_string(isolate, array, index)) {
    return false;
  }
  if (list->is_too_long()) {
    return true;
  }
  const std::optional<Local<String>> element = fetch_string(isolate, array, index);
  if (element) {
    list->add(Utf8Text(isolate, *element).c_str());
  }
  return element.has_value();
}

/// The array's strings; empty, with an exception on its way, when an element is not one.
std::optional<std::vector<std::string>> string_list(Isolate* isolate, const Local<Array>& array) {
  PathList list;
  const std::uint32_t length = array->Length();
  for (std::uint32_t index = 0; index < length && list.tests(index); ++index) {
    if (!add_element(isolate, array, index, &list)) {
      return std::nullopt;
    }
  }
  return list.take();
}

/// The answer up to its first zero byte. If no string can be made of it, the call's value stays undefined.
void set_answer(const Call& call, const std::string& answer) {
  Local<String> text;
  if (String::NewFromUtf8(call.GetIsolate(), answer.c_str(), NewStringType::kNormal).ToLocal(&text)) {
    call.GetReturnValue().Set(text);
  }
}

/// The frame of every method. `operation` takes the checked call and returns the answer, or nothing when an
/// exception is already on its way to JavaScript.
template <typename Operation>
void run_method(const Call& call, std::initializer_list<Kind> kinds, Operation operation) {
  Isolate* isolate = call.GetIsolate();
  const auto method = [&] {
    if (!check_arguments(call, kinds)) {
      return;
    }
    if (const std::optional<std::string> answer = operation(isolate)) {
      set_answer(call, *answer);
    }
  };
  vortena::guard(method, [isolate](const char* message) { throw_error(isolate, message); });
}

}  // namespace

void Read(const Call& call) {
  run_method(call, {Kind::kString, Kind::kString}, [&](Isolate* isolate) {
    return std::optional(BinReader2().read(Utf8Text(isolate, call[0]).c_str(), Utf8Text(isolate, call[1]).c_str()));
  });
}

void ReadAndSync2(const Call& call) {
  run_method(call, {Kind::kArray, Kind::kString}, [&](Isolate* isolate) -> std::optional<std::string> {
    const std::optional<std::vector<std::string>> paths = string_list(isolate, call[0].As<Array>());
    if (!paths) {
      return std::nullopt;
    }
    return BinReader2().readAndSync(*paths, Utf8Text(isolate, call[1]).c_str());
  });
}

void ReadConfig(const Call& call) {
  run_method(call, {Kind::kString}, [&](Isolate* isolate) {
    return std::optional(BinReader2().readConfig(Utf8Text(isolate, call[0]).c_str()));
  });
}

void WriteConfig(const Call& call) {
  run_method(call, {Kind::kString, Kind::kString}, [&](Isolate* isolate) {
    const bool created =
        BinReader2().writeConfig(Utf8Text(isolate, call[0]).c_str(), Utf8Text(isolate, call[1]).c_str());
    return std::optional<std::string>(created ? "OK" : "ERROR");
  });
}

void ReadConfigDeviceId(const Call& call) {
  run_method(call, {Kind::kString}, [&](Isolate* isolate) {
    return std::optional(BinReader2().readConfigDeviceId(Utf8Text(isolate, call[0]).c_str()));
  });
}

void Init(Local<Object> exports) {
  NODE_SET_METHOD(exports, "read", Read);
  NODE_SET_METHOD(exports, "readAndSync2", ReadAndSync2);
  NODE_SET_METHOD(exports, "readConfig", ReadConfig);
  NODE_SET_METHOD(exports, "writeConfig", WriteConfig);
  NODE_SET_METHOD(exports, "readConfigDeviceId", ReadConfigDeviceId);
}

/// The form in which Node.js calls the record's register function.
void Init(Local<Object> exports, Local<Value> /*module*/, void* /*data*/) {
  Init(exports);
}

static node::node_module _module = {
    NODE_MODULE_VERSION,  // the ABI of the Node.js this is built for
    0,                    // flags
    nullptr,              // shared-object handle
    "src/bindings-js",    // file name
    Init,                 // register function
    nullptr,              // context-aware register function
    "addon",              // module name
    nullptr,              // private data
    nullptr,              // link
};

NODE_C_CTOR(_register_addon) {
  node_module_register(&_module);
}

}  // namespace demo

// Node.js accepts the record above once per process. Every further load, in a worker thread or after the
// module cache was cleared, finds this symbol instead.
extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(v8::Local<v8::Object> exports,
                                                           v8::Local<v8::Value> /*module*/,
                                                           v8::Local<v8::Context> /*context*/) {
  demo::Init(exports);
}
