// The module's boundary with Node.js: the module record, the five methods, and the one frame that all of them
// follow. The frame checks and converts arguments, runs one operation of the reader and hands its text back.
// It is also the last line of defence: a C++ exception that left a callback would end the process.
#include <node.h>

#include <exception>
#include <initializer_list>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "reader/bin_reader2.h"
#include "reader/recording.h"

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

using Call = v8::FunctionCallbackInfo<Value>;

namespace {

enum class Kind { kString, kArray };

/// Bytes that a list of paths may hold, with what each recording takes before it is read: some 300,000 recordings. The
/// length that an array claims says nothing: it may be sparse, or its elements may come from a getter without end.
constexpr std::size_t kLargestPathList = std::size_t{256} * 1024 * 1024;

/// Of a list that is too long anyway, this many elements are still tested: a wrong kind is the error that counts.
constexpr std::uint32_t kMostTested = std::uint32_t{1} << 20;

/// Conversions from this many UTF-16 units on make sure of their memory first.
constexpr int kLongString = 1024 * 1024;
constexpr int kMaxUtf8BytesPerUnit = 3;

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
  /// Out of memory, the runtime's own conversion ends the process. Asking for the same amount first throws instead.
  static Local<Value> require_memory(const Local<Value>& value) {
    const int length = value.As<String>()->Length();
    if (length >= kLongString) {
      // Called by name: unlike a new-expression, these calls are never optimised away.
      ::operator delete(::operator new(static_cast<std::size_t>(length) * kMaxUtf8BytesPerUnit + 1));
    }
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

/// The array's strings; empty, with an exception on its way, when an element is not one.
std::optional<std::vector<std::string>> string_list(Isolate* isolate, const Local<Array>& array) {
  std::vector<std::string> list;
  std::size_t held = 0;
  const std::uint32_t length = array->Length();
  for (std::uint32_t index = 0; index < length; ++index) {
    const HandleScope scope(isolate);
    // Fetched once to test and once to take; a getter may answer differently, so both are tested.
    if (!fetch_string(isolate, array, index)) {
      return std::nullopt;
    }
    if (held <= kLargestPathList) {
      const std::optional<Local<String>> element = fetch_string(isolate, array, index);
      if (!element) {
        return std::nullopt;
      }
      list.emplace_back(Utf8Text(isolate, *element).c_str());
      held += sizeof(vortena::Recording) + sizeof(std::string) + list.back().capacity();
    } else if (index >= kMostTested) {
      break;
    }
  }
  if (held > kLargestPathList) {
    throw std::length_error("The list of recordings is too long");
  }
  return list;
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
  try {
    if (!check_arguments(call, kinds)) {
      return;
    }
    const std::optional<std::string> answer = operation(call.GetIsolate());
    if (answer) {
      set_answer(call, *answer);
    }
  } catch (const std::bad_alloc&) {
    throw_error(call.GetIsolate(), "Not enough memory for this call");
  } catch (const std::exception& error) {
    throw_error(call.GetIsolate(), error.what());
  } catch (...) {
    throw_error(call.GetIsolate(), "The call failed");
  }
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
