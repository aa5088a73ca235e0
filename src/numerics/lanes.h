#pragma once

namespace tarn {

/// Eight doubles that are added, scaled and subtracted together. Held as pairs of the baseline instruction
/// set: g++ takes a wider vector type apart into single numbers.
class Lanes {
 public:
  static constexpr int count = 8;

  Lanes() = default;

  double& operator[](int j) { return reinterpret_cast<double*>(pairs_)[j]; }
  double operator[](int j) const { return pairs_[j / 2][j % 2]; }

  friend Lanes operator+(const Lanes& x, const Lanes& y) {
    return each([&](int k) { return x.pairs_[k] + y.pairs_[k]; });
  }
  friend Lanes operator*(double factor, const Lanes& x) {
    return each([&](int k) { return factor * x.pairs_[k]; });
  }

  friend bool is_nothing(const Lanes& x) {
    for (int j = 0; j < count; ++j)
      if (x[j] != 0.0) return false;
    return true;
  }

 private:
  // The compiler's own vector type may stand for its elements, which operator[] relies on.
  typedef double Pair __attribute__((vector_size(2 * sizeof(double))));

  Lanes(Pair first, Pair second, Pair third, Pair fourth) : pairs_{first, second, third, fourth} {}

  // Written out: a loop would keep g++ from holding intermediate results in registers.
  template <class Operation>
  static Lanes each(const Operation& operation) {
    return Lanes(operation(0), operation(1), operation(2), operation(3));
  }

  Pair pairs_[count / 2] = {};
};

}  // namespace tarn
