#include "bindings-shared/methods.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "reader/bin_reader2.h"

namespace vortena::operations {
namespace {

struct Method {
  std::string_view name;
  std::string (*run)(Arguments& arguments);
};

/// Before a method touches a file.
void require_good(const Arguments& arguments) {
  if (!arguments.good()) {
    throw std::invalid_argument("Wrong arguments");
  }
}

std::string read(Arguments& arguments) {
  const std::string path = arguments.text();
  const std::string csv_path = arguments.text();
  require_good(arguments);
  return BinReader2().read(path.c_str(), csv_path.c_str());
}

std::string read_and_sync2(Arguments& arguments) {
  const std::vector<std::string> paths = arguments.texts();
  const std::string folder = arguments.text();
  require_good(arguments);
  return BinReader2().readAndSync(paths, folder);
}

std::string read_config(Arguments& arguments) {
  const std::string path = arguments.text();
  require_good(arguments);
  return BinReader2().readConfig(path.c_str());
}

std::string write_config(Arguments& arguments) {
  const std::string path = arguments.text();
  const std::string text = arguments.text();
  require_good(arguments);
  return BinReader2().writeConfig(path.c_str(), text.c_str()) ? "OK" : "ERROR";
}

std::string read_config_device_id(Arguments& arguments) {
  const std::string path = arguments.text();
  require_good(arguments);
  return BinReader2().readConfigDeviceId(path.c_str());
}

constexpr Method kMethods[] = {
    {"read", read},
    {"readAndSync2", read_and_sync2},
    {"readConfig", read_config},
    {"writeConfig", write_config},
    {"readConfigDeviceId", read_config_device_id},
};

const Method& find_method(std::string_view name) {
  for (const Method& method : kMethods) {
    if (method.name == name) {
      return method;
    }
  }
  throw std::invalid_argument("There is no such method");
}

}  // namespace

Answer call_method(std::string_view name, Arguments& arguments) noexcept {
  const auto run = [&](Watch*) {
    const std::string text = find_method(name).run(arguments);
    Answer answer;
    answer.json = text.substr(0, text.find('\0'));
    return answer;
  };
  return run_guarded(run, nullptr);
}

}  // namespace vortena::operations
