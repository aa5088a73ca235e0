#pragma once
// The parameters of the data types by name: `Parameter::p` is "p" of a deck, `Parameter::Gamma_prime`
// "Gamma'".

#include <array>
#include <string_view>

namespace tarn {

enum class Parameter : int {
#define TARN_PARAMETER(name, text) name,
#include "data/catalogue/parameters.def"
#undef TARN_PARAMETER
};

/// Names as decks have them, in the order of the enumerators.
inline constexpr auto parameter_names = std::to_array<std::string_view>({
#define TARN_PARAMETER(name, text) text,
#include "data/catalogue/parameters.def"
#undef TARN_PARAMETER
});

}  // namespace tarn
