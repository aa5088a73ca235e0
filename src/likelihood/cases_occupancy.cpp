// Occupancy of sites by one species (MacKenzie et al. 2002, 2003).
//
//   states      occupied, empty
//   season 1    occupied with Psi
//   s to s + 1  occupied: stays so with 1 - Epsilon(s); empty: is colonised with Gamma(s). Where the
//   occupancy
//               of every season is a parameter, one of the two rates follows from it and the other
//   season s    what surveys show of an occupied and of an empty site stands in blocks/site_seasons.h
//
// Psi stands in row 1, column 1, or that of the season; Epsilon and Gamma in row 1, column s.

#include "likelihood/blocks/occupancy_rates.h"
#include "likelihood/blocks/sites.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

enum class Layer { plain, mixture, effect, errors, trail, units, passing };

/// What stands within a season, from the parameters of the type.
Layer layer_of(const Datatype& type) {
  const auto has = [&type](std::string_view name) { return names_hold(type.own, name); };
  if (has("pi")) return Layer::mixture;
  if (has("sigmap")) return Layer::effect;
  if (has("p11")) return Layer::errors;
  if (has("Theta'")) return Layer::trail;
  if (has("Theta")) return Layer::units;
  return has("pent") ? Layer::passing : Layer::plain;
}

struct Occupancy : Sites<Occupancy> {
  struct Prepared : Site_records {
    explicit Prepared(const Job& job)
        : Site_records(job, 2, "Psi"),
          layer(layer_of(datatype(job.status.dattyp))),
          epsilon(names_hold(datatype(job.status.dattyp).own, "Epsilon")),
          gamma(names_hold(datatype(job.status.dattyp).own, "Gamma")) {}
    Layer layer;
    bool epsilon, gamma;  ///< parameters of the type
  };
  template <class Real>
  using Kept = Site_kept<Real>;

  template <class Real>
  static void begins(const Job&, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                     std::span<Real> init) {
    init[0] = parm[work.matrix(Parameter::Psi, group)(1, 1)];
    init[1] = 1.0 - init[0];
  }

  template <class Real>
  static Real changes(const Job&, int group, int s, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::span<Real> m) {
    const Prepared& records = prepared<Occupancy>(work);
    const auto rate = [&](Parameter parameter, int column) -> const Real& {
      return parm[work.matrix(parameter, group)(1, column)];
    };
    Derived_rate<Real> out, in;
    if (records.epsilon) out.value = rate(Parameter::Epsilon, s);
    if (records.gamma) in.value = rate(Parameter::Gamma, s);
    // KEPT (derived_rates_are_charged_in_serial_runs): a rate that follows is clamped, and the charge counts
    // in serial runs only; looks wrong, is required.
    if (!records.gamma) in = gamma_of(rate(Parameter::Psi, s), rate(Parameter::Psi, s + 1), out.value);
    if (!records.epsilon) out = epsilon_of(rate(Parameter::Psi, s), rate(Parameter::Psi, s + 1), in.value);
    m[0] = 1.0 - out.value;
    m[1] = out.value;
    m[2] = in.value;
    m[3] = 1.0 - in.value;
    return out.charge + in.charge;
  }

  template <class Real>
  static void shows(const Job& job, const Season& season, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> e) {
    const Season_shown<Real> shown =
        season.any_survey() ? surveys(job, season, parm, work) : Season_shown<Real>();
    e[0] = shown.occupied;
    e[1] = shown.empty;
  }

 private:
  template <class Real>
  static Season_shown<Real> surveys(const Job& job, const Season& season, const Reals<Real>& parm,
                                    Cell_work<Real>& work) {
    switch (prepared<Occupancy>(work).layer) {
      case Layer::mixture:
        return surveys_of_mixture(job, season, parm, work);
      case Layer::effect:
        return surveys_with_effect(job, season, parm, work, kept<Occupancy>(work).nodes);
      case Layer::errors:
        return surveys_with_errors(season, parm, work);
      case Layer::trail:
        return surveys_of_trail(season, parm, work);
      case Layer::units:
        return surveys_of_units(job, season, parm, work);
      case Layer::passing:
        return surveys_in_passing(job, season, parm, work);
      case Layer::plain:
        break;
    }
    return plain_surveys(season, parm, work);
  }
};

}  // namespace

template <class Real>
void occupancy(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = site_cell<Occupancy>(job, histry, i, j, parm, work);
}

TARN_CELL_ROUTINE(occupancy, Occupancy)

}  // namespace tarn
