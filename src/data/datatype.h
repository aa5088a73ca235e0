#pragma once
// The catalogue of data types: one row per number; all that follows from a row is computed from it.

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// Kind of the closed-capture layer of a family.
enum class Closed : int {
  none = 0,
  full = 1,
  huggins = 2,
  het = 3,
  full_het = 4,
  huggins_het_p = 5,
  huggins_het = 6,
  id_full = 7,
  id_huggins = 8,
  id_het = 9,
  id_full_het = 10,
  id_huggins_het_p = 11,
  id_huggins_het = 12,
  huggins_re = 13
};

/// The cell routine of a type: a routine of its own or a case of `chprob`; layers map the tag to their code.
enum class Cell : int;

struct Datatype;

inline constexpr int max_dattyp = 185;

/// The row of a number 1 to 185.
const Datatype& datatype(int dattyp);

/// Number of a keyword of ETYPE (upper case, trailing blanks do not count); 0 when it is none of the 189.
int dattyp_of(std::string_view keyword);

/// Display name of a number, as listings print it.
std::string_view datastrings(int dattyp);

/// Parameter names of a number in the order of the matrices.
std::vector<std::string> parmlist(int dattyp);

}  // namespace tarn
