#include "model/estimate_options.h"

#include <array>
#include <cmath>
#include <string_view>

#include "data/catalogue/link.h"

namespace tarn {

namespace {

using Row = Option<Job>;

template <auto member>
auto& model(Job& job) {
  return job.model.*member;
}
template <auto member>
auto& status(Job& job) {
  return job.status.*member;
}

/// LINK=: a name that is no link gives SIN.
void read_link(Job& job, int i) {
  const std::string& name = word(job, i);
  job.model.nlink = link_of(name);
  if (job.model.nlink != Link::none) return;
  warn(job, "unidentified LINK function " + name);
  job.model.nlink = Link::sin;
  warn(job, "LINK function set to SIN          ");
}

/// VAREST=: the word is upper case already, the names are raised for the comparison.
void read_variance_procedure(Job& job, int i) {
  const std::string& name = word(job, i);
  for (const Variance procedure :
       {Variance::hessian, Variance::observed, Variance::expected, Variance::second_partials}) {
    std::string known(name_of(procedure));
    cvtcas(known);
    if (known != name) continue;
    job.model.vartyp = procedure;
    return;
  }
  warn(job, "unidentified VAREST parameter " + name);
  job.model.vartyp = Variance::second_partials;
  warn(job, "VAREST set to 2ndPart ");
}

/// CHAT=: a c-hat for the quasi-likelihood, which it switches on.
void read_chat(Job& job, int i) {
  const double chat = value(job, word(job, i));
  if (!std::isfinite(chat) || chat <= 0.0)
    error(job, "CHAT= must be a finite number above 0, not " + word(job, i) + ".");
  job.model.chat_given = job.model.chat = chat;
  job.model.quasi = true;
}

template <Minimiser method>
constexpr Row optimizer(std::string_view help) {
  return {.name = name_of(method),
          .place = [](Job& job, int) { job.model.optimizer = method; },
          .preset = method == Minimiser::va09ad ? "on" : "off",
          .help = help};
}

constexpr std::array rows{
    Row{.name = "LINK",
        .kind = Option_kind::word,
        .place = read_link,
        .preset = "SIN",
        .help = "link of the real parameters; PARM-SPECIFIC: the LINKS statement tells each"},
    Row{.name = "VAREST",
        .kind = Option_kind::word,
        .place = read_variance_procedure,
        .preset = "2ndPart",
        .help = "information matrix: 2ndPart, Hessian, Observed or Expected"},
    optimizer<Minimiser::va09ad>("minimiser: quasi-Newton with gradients"),
    optimizer<Minimiser::optmizs>("minimiser: quasi-Newton with its own differences; not in this version"),
    optimizer<Minimiser::newoptmiz>("minimiser: trust region without derivatives; not in this version"),
    optimizer<Minimiser::simanneal>(
        "minimiser: annealing, which searches far and takes long; not in this version"),
    optimizer<Minimiser::find_minimum>("minimiser: another annealing; not in this version"),
    optimizer<Minimiser::sa>("minimiser: a third annealing; not in this version"),
    optimizer<Minimiser::diff_evol>("minimiser: differential evolution; not in this version"),
    Row{.name = "MAXFN",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::maxfn>,
        .help = "most evaluations of the likelihood"},
    Row{.name = "NSIG",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::nsig>,
        .help = "significant digits sought"},
    Row{.name = "STARTS",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::starts>,
        .least = 1,
        .most = 100000,
        .told_as = "STARTS",
        .preset = "1, or more",
        .help =
            "searches from n starts, the model's own and random ones by SEED, of which the best is kept; 1: "
            "from the model's own only; without it others are made where the first earns it"},
    Row{.name = "CENTRALFD",
        .place = model<&Model_arrays::centfd>,
        .help = "gradients by central differences in place of exact ones"},
    Row{.name = "DELTAX",
        .kind = Option_kind::number,
        .place = status<&Status_module::deltax>,
        .help = "step of differences; another than the default also gives gradients by differences; it stays "
                "for later models"},
    Row{.name = "NUMPAR",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::numpar>,
        .help = "the number of estimated parameters is n; 0: it is found"},
    Row{.name = "LOOP",
        .place = model<&Model_arrays::loop>,
        .help = "a beta that the data do not identify is taken out, and the model fitted again"},
    Row{.name = "NOLOOP", .place = model<&Model_arrays::loop>, .setting = 0, .help = "one fit"},
    Row{.name = "NOSTANDDM",
        .place = model<&Model_arrays::standardize_design>,
        .setting = 0,
        .help = "columns of the design matrix are not scaled"},
    Row{.name = "QUASI",
        .place = model<&Model_arrays::quasi>,
        .help = "quasi-likelihood figures, with the c-hat of the model itself"},
    Row{.name = "CHAT",
        .kind = Option_kind::number,
        .place = read_chat,
        .preset = "none",
        .help = "quasi-likelihood figures with this c-hat, by which all variances are multiplied"},
    Row{.name = "ESSANIMALS",
        .place = model<&Model_arrays::essanimals>,
        .help = "the effective sample size counts animals"},
    Row{.name = "PENTFIRST",
        .place = model<&Model_arrays::pentfirst>,
        .help = "entries (POPAN): the first one is the remainder"},
    Row{.name = "PENTLAST",
        .place = model<&Model_arrays::pentfirst>,
        .setting = 0,
        .help = "entries (POPAN): the last one is the remainder"},
    Row{.name = "USEOBSERVED",
        .place = model<&Model_arrays::useobserved>,
        .help = "observed counts where the data type has a choice"},
    Row{.name = "DEBUG",
        .place = status<&Status_module::debug>,
        .help = "matrices, starting values and cells are listed"},
    Row{.name = "PRINTVC", .help = "accepted, without effect"},
    Row{.name = "MCMC",
        .place = model<&Model_arrays::lmcmc>,
        .help = "posterior samples after the fit; not in this version"},
    Row{.name = "GIBBSIT", .place = model<&Model_arrays::mcmcsamsiz>, .help = "size of the sample is found"},
    Row{.name = "TUNEIN",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::ntune>,
        .help = "samples of the tuning"},
    Row{.name = "BURNIN",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::nburn>,
        .help = "samples dropped before those kept"},
    Row{.name = "SAMPLES",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::nmcmc>,
        .help = "samples kept"},
    Row{.name = "NUMSERIES",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::nseries>,
        .help = "chains"},
    Row{.name = "THINCHAIN",
        .kind = Option_kind::integer,
        .place = status<&Status_module::thinchain>,
        .help = "every n-th sample is kept"},
    Row{.name = "SEED",
        .kind = Option_kind::integer,
        .place = model<&Model_arrays::iseed>,
        .help = "seed of the random numbers; 0: by clock and process, with STARTS always the same"},
    Row{.name = "STEPSIZE",
        .kind = Option_kind::number,
        .place = model<&Model_arrays::stepsize>,
        .help = "step of the proposals"},
    Row{.name = "MCMCFILE",
        .kind = Option_kind::file_name,
        .place = model<&Model_arrays::mcmcfilename>,
        .help = "file of the samples"},
    Row{.name = "MCMCCSVFILE",
        .kind = Option_kind::file_name,
        .place = model<&Model_arrays::mcmccsvfilename>,
        .preset = "none",
        .help = "file of their summary"}};

/// Differences with a step beyond this lose digits that a listing shows.
constexpr double widest_deltax = 1e-5;

}  // namespace

void estimate_options(Job& job) {
  for (int i = 3; i <= job.status.lstwrd;) {
    const Row* const option = find_option<Job>(rows, word(job, i));
    if (option == nullptr) {
      warn(job, "The proc estimate option '" + word(job, i) + "' was not recognized.");
      ++i;
      continue;
    }
    take_option(job, job, *option, i);
    i += words_of(*option);
  }
  // The step stays for later models, and so does the warning.
  if (!(job.status.deltax <= widest_deltax))
    warn(job,
         "DELTAX=" + shortest(job.status.deltax) +
             " is above 1e-5: gradients by differences, and what rests on them, lose digits that are shown.");
}

std::vector<Option_text> estimate_option_texts() {
  Job fresh;
  return describe_options<Job>(rows, fresh);
}

}  // namespace tarn
