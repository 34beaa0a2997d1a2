#pragma once
// One pixel: N components of type T, packed without padding. Carries the two value
// operations the bilinear resize uses (scaling by a double, adding) and a comparison that
// lets NaN match anything.

#include <Imath/half.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nox::image {

namespace detail {

template <class T>
double toDouble(T value) {
  if constexpr (std::is_same_v<T, half>) {
    return static_cast<float>(value);
  } else {
    return static_cast<double>(value);
  }
}

// Back from double: integers are cut toward zero and keep the low bits of T, as a cast from
// a signed 64-bit value does; half rounds as half does (through float). Values no integer
// conversion defines (NaN, infinities, beyond 64 bits) become 0 instead of undefined
// behaviour.
template <class T>
T fromDouble(double value) {
  if constexpr (std::is_same_v<T, half>) {
    return half(static_cast<float>(value));
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(value);
  } else {
    // Both casts cut toward zero.
    constexpr double kTwo63 = 9223372036854775808.0;
    if (value >= -kTwo63 && value < kTwo63) return static_cast<T>(static_cast<int64_t>(value));
    if (value >= kTwo63 && value < 2 * kTwo63) return static_cast<T>(static_cast<uint64_t>(value));
    return T{};
  }
}

// Exact for integers; for floating types a NaN is "equal" to anything.
template <class T>
bool componentsDiffer(T a, T b) {
  return a < b || a > b;
}

}  // namespace detail

template <class T, std::size_t N>
struct PixelT {
  using Component = T;
  static constexpr std::size_t kComponents = N;

  T c[N];  // components in storage order

  // Each component times s, in double, converted back to T (see detail::fromDouble).
  PixelT operator*(double s) const {
    PixelT out;
    for (std::size_t i = 0; i < N; ++i) out.c[i] = detail::fromDouble<T>(detail::toDouble(c[i]) * s);
    return out;
  }

  // Component-wise sum in T: integers wrap, half adds the float values and rounds.
  PixelT operator+(const PixelT& other) const {
    PixelT out;
    for (std::size_t i = 0; i < N; ++i) {
      if constexpr (std::is_same_v<T, half>) {
        out.c[i] = half(static_cast<float>(c[i]) + static_cast<float>(other.c[i]));
      } else {
        out.c[i] = static_cast<T>(c[i] + other.c[i]);
      }
    }
    return out;
  }

  bool operator==(const PixelT& other) const {
    for (std::size_t i = 0; i < N; ++i) {
      if (detail::componentsDiffer(c[i], other.c[i])) return false;
    }
    return true;
  }
  bool operator!=(const PixelT& other) const { return !(*this == other); }
};

}  // namespace nox::image
