#include <gtest/gtest.h>

#include <algorithm>

#include "likelihood/cells.h"
#include "support/fitted_types.h"

namespace tarn {
namespace {

TEST(Fitted_types, page_explains_every_type_with_a_routine_and_no_other) {
  for (int n = 1; n <= max_dattyp; ++n) {
    const auto told = [n](const Family_note& note) {
      return std::find(note.numbers.begin(), note.numbers.end(), n) != note.numbers.end();
    };
    const auto count = std::count_if(fitted_types().begin(), fitted_types().end(), told);
    EXPECT_EQ(count, cell_routines(datatype(n).cell).given() ? 1 : 0) << n;
  }
}

}  // namespace
}  // namespace tarn
