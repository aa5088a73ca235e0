#include "model/estimate_options.h"

#include <array>
#include <string_view>

#include "job/services/fault.h"
#include "job/services/statement.h"
#include "model/structure/links.h"

namespace tarn {

namespace {

constexpr std::size_t file_name_width = 255;
constexpr int second_partials = 4;

/// A keyword that sets one member to a fixed value.
struct Flag_option {
  std::string_view name;
  int Model_arrays::*member;
  int value;
};
constexpr std::array flag_options{Flag_option{"CENTRALFD", &Model_arrays::centfd, 1},
                                  Flag_option{"VA09AD", &Model_arrays::optimizer, 1},
                                  Flag_option{"SIMANNEAL", &Model_arrays::optimizer, 2},
                                  Flag_option{"OPTMIZ", &Model_arrays::optimizer, 3},
                                  Flag_option{"NEWOPTMIZ", &Model_arrays::optimizer, 4},
                                  Flag_option{"SIMANNEAL2", &Model_arrays::optimizer, 5},
                                  Flag_option{"SIMANNEAL3", &Model_arrays::optimizer, 6},
                                  Flag_option{"DIFF_EVOL", &Model_arrays::optimizer, 7},
                                  Flag_option{"PENTFIRST", &Model_arrays::pentfirst, 1},
                                  Flag_option{"PENTLAST", &Model_arrays::pentfirst, 0},
                                  Flag_option{"USEOBSERVED", &Model_arrays::useobserved, 1},
                                  Flag_option{"MCMC", &Model_arrays::lmcmc, 1},
                                  Flag_option{"GIBBSIT", &Model_arrays::mcmcsamsiz, 1}};

struct Switch_option {
  std::string_view name;
  bool Model_arrays::*member;
  bool value;
};
constexpr std::array switch_options{Switch_option{"LOOP", &Model_arrays::loop, true},
                                    Switch_option{"NOLOOP", &Model_arrays::loop, false},
                                    Switch_option{"NOSTANDDM", &Model_arrays::standardize_design, false},
                                    Switch_option{"ESSANIMALS", &Model_arrays::essanimals, true},
                                    Switch_option{"QUASI", &Model_arrays::quasi, true}};

struct Integer_option {
  std::string_view name;
  int Model_arrays::*member;
};
constexpr std::array integer_options{
    Integer_option{"NSIG", &Model_arrays::nsig},         Integer_option{"MAXFN", &Model_arrays::maxfn},
    Integer_option{"NUMPAR", &Model_arrays::numpar},     Integer_option{"BURNIN", &Model_arrays::nburn},
    Integer_option{"TUNEIN", &Model_arrays::ntune},      Integer_option{"SAMPLES", &Model_arrays::nmcmc},
    Integer_option{"NUMSERIES", &Model_arrays::nseries}, Integer_option{"SEED", &Model_arrays::iseed}};

template <class Options>
const typename Options::value_type* find_option(const Options& options, std::string_view name) {
  for (const auto& option : options)
    if (option.name == name) return &option;
  return nullptr;
}

/// LINK=: a name that is no link gives SIN.
void read_link(Job& job, const std::string& name) {
  job.model.nlink = link_of(name);
  if (job.model.nlink != Link::none) return;
  warn(job, "unidentified LINK function " + name);
  job.model.nlink = Link::sin;
  warn(job, "LINK function set to SIN          ");
}

/// VAREST=: the word is upper case already, the names are raised for the comparison.
void read_variance_procedure(Job& job, const std::string& name) {
  for (std::size_t k = 0; k < varcalc.size(); ++k) {
    std::string known = varcalc[k];
    cvtcas(known);
    if (known == name) {
      job.model.vartyp = static_cast<int>(k) + 1;
      return;
    }
  }
  warn(job, "unidentified VAREST parameter " + name);
  job.model.vartyp = second_partials;
  warn(job, "VAREST set to 2ndPart ");
}

/// Takes the option at word i if it is one without a value.
bool read_bare_option(Job& job, const std::string& option) {
  Model_arrays& model = job.model;
  if (const Flag_option* flag = find_option(flag_options, option)) {
    model.*flag->member = flag->value;
  } else if (const Switch_option* known = find_option(switch_options, option)) {
    model.*known->member = known->value;
  } else if (option == "DEBUG") {
    job.status.debug = 1;
  } else if (option != "PRINTVC") {
    return false;
  }
  return true;
}

/// Takes the option at word i with its value at word i + 2, if it is one of those.
bool read_value_option(Job& job, const std::string& option, int i) {
  Model_arrays& model = job.model;
  if (const Integer_option* integer = find_option(integer_options, option)) {
    model.*integer->member = ivalue(job, word(job, i + 2));
  } else if (option == "THINCHAIN") {
    job.status.thinchain = ivalue(job, word(job, i + 2));
  } else if (option == "DELTAX") {
    job.status.deltax = value(job, word(job, i + 2));
  } else if (option == "STEPSIZE") {
    model.stepsize = value(job, word(job, i + 2));
  } else if (option == "LINK") {
    read_link(job, word(job, i + 2));
  } else if (option == "VAREST") {
    read_variance_procedure(job, word(job, i + 2));
  } else if (option == "MCMCFILE") {
    model.mcmcfilename = word_as_typed(job, i + 2).substr(0, file_name_width);
  } else if (option == "MCMCCSVFILE") {
    model.mcmccsvfilename = word_as_typed(job, i + 2).substr(0, file_name_width);
  } else {
    return false;
  }
  return true;
}

}  // namespace

void estimate_options(Job& job) {
  for (int i = 3; i <= job.status.lstwrd; ++i) {
    const std::string option = word(job, i);
    if (read_bare_option(job, option)) continue;
    if (read_value_option(job, option, i))
      i += 2;
    else
      warn(job, "The proc estimate option '" + option + "' was not recognized.");
  }
}

}  // namespace tarn
