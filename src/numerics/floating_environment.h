#pragma once

#include <cfenv>

namespace tarn {

/// Puts the floating-point conditions back at the end of its life: those of a run on made-up numbers are
/// nobody's.
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
