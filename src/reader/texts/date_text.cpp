// Dates as the JSON answers and the CSV preamble show them.
#include "reader/texts/date_text.h"

namespace vortena {
namespace {

std::string two_digits(std::int32_t value) {
  return value > 9 ? std::to_string(value) : "0" + std::to_string(value);
}

}  // namespace

std::string _date_to_string(const kiv_Config::DateStruct& date) {
  const std::string year = date.year == 0 ? "0000" : std::to_string(date.year);
  return year + "-" + two_digits(date.month) + "-" + two_digits(date.day) + " " + two_digits(date.hour) + ":" +
         two_digits(date.minute) + ":" + two_digits(date.second);
}

}  // namespace vortena
