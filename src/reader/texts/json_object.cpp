#include "reader/texts/json_object.h"

#include <cmath>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

namespace vortena {
namespace {

std::string with_digits(double value, int digits) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setprecision(digits) << value;
  return text.str();
}

double read_back(const std::string& number) {
  std::istringstream text(number);
  text.imbue(std::locale::classic());
  double value = 0;
  text >> value;
  return value;
}

std::string escaped(char character) {
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  if (character == '"' || character == '\\') {
    return {'\\', character};
  }
  const auto code = static_cast<unsigned char>(character);
  if (code >= ' ') {
    return {character};
  }
  return std::string("\\u00") + kHexDigits[code / 16U] + kHexDigits[code % 16U];
}

}  // namespace

std::string number_json(double value) {
  if (!std::isfinite(value)) {
    return "null";
  }
  std::string number;
  for (int digits = std::numeric_limits<double>::digits10; digits <= std::numeric_limits<double>::max_digits10;
       ++digits) {
    number = with_digits(value, digits);
    if (read_back(number) == value) {
      break;
    }
  }
  return number;
}

std::string text_json(std::string_view text) {
  std::string json = "\"";
  for (const char character : text) {
    json += escaped(character);
  }
  return json += "\"";
}

std::string axes_json(const std::array<double, 3>& axes) {
  JsonObject json;
  json.number("x", axes[0]);
  json.number("y", axes[1]);
  json.number("z", axes[2]);
  return json.close();
}

}  // namespace vortena
