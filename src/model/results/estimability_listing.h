#pragma once
// The lines of the listing that tell what the data leave open. Nothing is written where there is nothing to
// tell.

#include "derived/derivedest.h"
#include "inference/estimability.h"
#include "job/job.h"

namespace tarn {

/// After the table of real parameters: directions that are not identified, boundaries, betas without
/// information, of which each is warned of.
void write_estimability(Job& job, const Estimability& found, const Estimates& real);

/// After the derived sections: values that rest on these.
void write_derived_that_rests(Job& job, const List<Derived_values>& derived);

}  // namespace tarn
