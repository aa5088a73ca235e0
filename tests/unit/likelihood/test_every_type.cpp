// Which data types a model can be set up for.

#include <gtest/gtest.h>

#include <set>

#include "data/catalogue/available.h"
#include "likelihood/cells.h"
#include "likelihood/chprob.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// The types that this version fits.
const std::set<int> fitted{
    1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  16,  17,  18,  19,  20,  21,
    22,  23,  24,  25,  26,  27,  28,  29,  30,  31,  32,  33,  34,  35,  36,  37,  38,  39,  40,  41,  42,
    43,  44,  45,  46,  47,  48,  49,  50,  51,  52,  53,  54,  55,  56,  57,  58,  59,  60,  61,  62,  63,
    64,  65,  66,  67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77,  78,  79,  80,  81,  82,  83,  84,
    85,  86,  87,  88,  89,  90,  91,  92,  93,  94,  95,  96,  97,  98,  99,  100, 101, 102, 103, 104, 105,
    106, 107, 108, 109, 110, 111, 112, 113, 116, 117, 118, 119, 121, 122, 123, 124, 125, 126, 127, 128, 129,
    137, 141, 142, 143, 144, 145, 146, 147, 148, 149, 150, 151, 152, 153, 154, 156, 157, 161, 162, 163, 164,
    165, 166, 167, 168, 169, 170, 175, 176, 177, 178, 179, 180, 183, 184, 185};

// A type without a routine, or with one but without its closed-form term, saturated model or derived
// sections, gives no result: nothing that is missing may pass for 0.
TEST(Every_type, is_refused_unless_all_its_parts_are_there) {
  for (int n = 1; n <= max_dattyp; ++n) {
    Model_builder m(n, 4);
    ASSERT_TRUE(m.job().data.u.allocate(4, 1, 1) && m.job().data.ul.allocate(4, 1, 1));
    // One that is set up goes on to the matrices, of which there are none. A model has one real parameter at
    // least.
    m.job().model.nlogit = 1;
    std::string text;
    const std::string end = stop_text([&] { m.finish(); });
    if (!end.empty()) {
      const std::string listing = m.test.listing();
      text =
          listing.find(no_result_text) == std::string::npos ? "another fault" : std::string(no_result_text);
    }
    EXPECT_EQ(text != no_result_text, fitted.contains(n)) << n << ' ' << text;
    const Datatype& type = datatype(n);
    const bool all = cell_routines(type.cell).given() && is_available(type.closed_form) &&
                     is_available(type.saturated) && is_available(type.derived_sections);
    EXPECT_EQ(all, fitted.contains(n)) << n;
  }
}

}  // namespace
}  // namespace tarn
