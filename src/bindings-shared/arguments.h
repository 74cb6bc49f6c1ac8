// The arguments of an operation, from whatever language.
#pragma once

#include <string>
#include <vector>

namespace vortena::operations {

/// Taken one after another. Behind one that is missing or of a wrong kind all are empty.
class Arguments {
 public:
  Arguments() = default;
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  Arguments(Arguments&&) = delete;
  Arguments& operator=(Arguments&&) = delete;
  virtual ~Arguments() = default;

  virtual std::string text() = 0;  ///< UTF-8
  virtual std::vector<std::string> texts() = 0;
  virtual double number() = 0;
  virtual bool truth() = 0;

  [[nodiscard]] virtual bool any_left() const = 0;

  /// All of them were there and of the right kind.
  [[nodiscard]] virtual bool good() const = 0;
};

}  // namespace vortena::operations
