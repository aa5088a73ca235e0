#pragma once
// The floating-point conditions of a stretch of the program.

#include <cfenv>

namespace tarn {

/// Clears the floating-point conditions, and puts back at the end of its life those that it found: for dry
/// runs, whose made-up numbers raise conditions that are nobody's.
class Kept_floating_environment {
 public:
  Kept_floating_environment() { std::feholdexcept(&environment_); }
  Kept_floating_environment(const Kept_floating_environment&) = delete;
  Kept_floating_environment& operator=(const Kept_floating_environment&) = delete;
  ~Kept_floating_environment() { std::fesetenv(&environment_); }

 private:
  std::fenv_t environment_;
};

}  // namespace tarn
