#include "derived/rates.h"

#include "data/catalogue/datatype.h"
#include "likelihood/blocks/rates.h"

namespace tarn {

void kmprod(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Job& job = frame.job;
  const Reals<double> parm = frame.reals(x);
  Power_memo powers;
  const Interval_rates<double> rate(job, parm, powers);
  const int s = findpar(job.data, "S"), q = s > 0 ? s : findpar(job.data, "Phi");
  const bool to_the_end = datatype(job.status.dattyp).derived_sections == Derived_sections::survival;
  const int intervals = to_the_end ? job.status.noccas : job.status.noccas - 1;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    double product = 1.0;
    for (int c = 1; c <= intervals; ++c) product *= rate.survival(frame.number(q, 1, 1, g, 1, c), c);
    values(g) = product;
  }
}

}  // namespace tarn
