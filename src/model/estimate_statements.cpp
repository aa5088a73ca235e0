#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "data/catalogue/datatype.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "model/estimate_options.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"

namespace tarn {

namespace {

constexpr int statement_indent = 2, procedure_indent = 1;
/// Labels of derived parameters that are kept while their number is not known yet.
constexpr int most_derived_labels = 100'000;

/// What stands behind the first "=" of the statement in hand, as typed, without the terminator and the blanks
/// round it. Without "=" what stands behind its first word.
std::string text_of_statement(Job& job) {
  std::string_view text = statement_text(job);
  if (const std::size_t equals = text.find('='); equals != std::string_view::npos) {
    text.remove_prefix(equals + 1);
  } else {
    const std::string& keyword = word_as_typed(job, 1);
    text.remove_prefix(std::min(text.find(keyword) + keyword.size(), text.size()));
  }
  if (!text.empty() && text.back() == ';') text.remove_suffix(1);
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

/// The word behind a keyword and the "=" that may stand between.
int first_value_word(Job& job) { return job.status.lstwrd >= 2 && word(job, 2) == "=" ? 3 : 2; }

void read_initial(Job& job) {
  Model_arrays& model = job.model;
  model.intvals.clear();
  for (int i = first_value_word(job); i <= job.status.lstwrd; ++i)
    model.intvals.push_back(given_value(job, word_as_typed(job, i)));
  model.initial_given = true;
  if (model.design.present()) check_initial_values(job);
}

/// True when the statement in hand is the PROC STOP that the reader makes up behind the last one of the deck.
bool deck_has_ended(const Job& job) { return job.status.eof != 0 && job.status.lcmded == 0; }

/// FIXED and BETAFIXED: n statements `name`(i)=v. A later value of the same parameter takes the earlier one's
/// place.
/// @return false when the deck ended among them; the statement in hand is then its end
bool read_fixed(Job& job, std::string_view name, std::string_view warning, List<int>& indices,
                List<double>& values) {
  const int count = ivalue(job, word(job, first_value_word(job)));
  for (int k = 1; k <= count; ++k) {
    getcmd(job);
    if (deck_has_ended(job)) return false;
    if (job.status.lstwrd < 6 || word(job, 1) != name || word(job, 2) != "(" || word(job, 4) != ")" ||
        word(job, 5) != "=") {
      warn(job, warning);
      continue;
    }
    const int index = ivalue(job, word_as_typed(job, 3));
    const double fixed_value = given_value(job, word_as_typed(job, 6));
    const auto known = std::find(indices.begin(), indices.end(), index);
    if (known != indices.end()) {
      values(static_cast<int>(known - indices.begin()) + 1) = fixed_value;
    } else {
      indices.push_back(index);
      values.push_back(fixed_value);
    }
  }
  return true;
}

void read_covariate_values(Job& job) {
  List<double>& values = job.model.icvalues;
  const Data_module& data = job.data;
  const int nicovs = job.status.nicovs;
  values.clear();
  for (int i = first_value_word(job); i <= job.status.lstwrd; ++i)
    values.push_back(given_value(job, word_as_typed(job, i)));
  const int given = values.size();
  if (given != nicovs)
    warnum(job,
           " number of individual covariate values specified differs from number of individual covariates.",
           given);
  // A covariate without a value takes its mean.
  values.resize(nicovs, 0.0);
  for (int c = given + 1; c <= nicovs; ++c)
    if (data.icvrmn.present()) values(c) = data.icvrmn(c);
  if (job.status.stdic == 0) return;
  for (int c = 1; c <= nicovs; ++c) values(c) = (values(c) - data.icvrmn(c)) / data.icvrsd(c);
}

void read_profile(Job& job) {
  Model_arrays& model = job.model;
  for (int i = first_value_word(job); i <= job.status.lstwrd; ++i) {
    if (word(job, i) != "CHAT") {
      model.profilevals.push_back(ivalue(job, word(job, i)));
      continue;
    }
    i += 2;
    model.chatuse = given_value(job, word(job, i));
    if (model.chatuse >= 10.0) error(job, "Profile likelihood CI c-hat >= 10.0.");
    if (!(model.chatuse >= 1.0)) {
      model.chatuse = 1.0;
      warn(job, "Profile likelihood CI c-hat set to 1.0.");
    }
  }
}

void read_model_name(Job& job) {
  std::string name = text_of_statement(job);
  if (!name.starts_with('{')) name = "{" + name + "}";
  job.model.modnam = name;
}

/// RLABEL, BLABEL: a label into an array of the model.
void read_label(Job& job, Array1<Charray>& labels, const char* below, const char* above) {
  const int index = ivalue(job, word(job, 3));
  if (index < 1)
    warn(job, below);
  else if (index > labels.extent())
    warn(job, above);
  else
    labels(index) = text_of_statement(job);
}

void read_derived_label(Job& job) {
  Model_arrays& model = job.model;
  const int index = ivalue(job, word(job, 3));
  const bool counted_later = datatype(job.status.dattyp).derived == Derived_count::sections;
  const int most = counted_later ? most_derived_labels : model.numderivedmcmcpar;
  if (index < 1) {
    warn(job, "Value of derived parameter label index <1.");
  } else if (index > most) {
    warn(job, "Value of derived parameter label index exceeds number of derived parameters.");
  } else {
    if (model.dlabel.size() < index) model.dlabel.resize(index);
    model.dlabel(index) = text_of_statement(job);
  }
}

/// Handles the statement in hand. False when the deck has ended inside it.
bool read_statement(Job& job) {
  Model_arrays& model = job.model;
  const std::string keyword = word(job, 1);
  if (keyword == "GROUP")
    piread(job);
  else if (keyword == "DESIGN")
    design_statement(job);
  else if (keyword == "LINKS")
    links_statement(job);
  else if (keyword == "INITIAL")
    read_initial(job);
  else if (keyword == "FIXED")
    return read_fixed(job, "PARM", "statement to fix a parameter not PARM(xx)=value;", model.fixdex,
                      model.fixval);
  else if (keyword == "BETAFIXED")
    return read_fixed(job, "BETA", "Statement to fix a parameter not BETA(xx)=value;", model.fixbetadex,
                      model.fixbetaval);
  else if (keyword == "ICVALUES")
    read_covariate_values(job);
  else if (keyword == "PROFILE")
    read_profile(job);
  else if (keyword == "MODEL")
    read_model_name(job);
  else if (keyword == "RLABEL")
    read_label(job, model.rlabel, "Value of real parameter label index <1.",
               "Value of real parameter label index exceeds rows in design matrix.");
  else if (keyword == "BLABEL")
    read_label(job, model.blabel, "Value of beta parameter label index <1.",
               "Value of beta parameter label index exceeds columns in design matrix.");
  else if (keyword == "DLABEL")
    read_derived_label(job);
  else if (keyword == "HYPERDISTRIBUTIONS")
    error(job, "HYPERDISTRIBUTIONS is not available in this version of TARN.");
  else if (keyword != "ICFIRST")
    warn(job, "The following statement was not understood:");
  return true;
}

/// "FIXED or BETAFIXED names a parameter that does not exist."
void check_indices(Job& job, const List<int>& indices, int most, const char* name) {
  for (int index : indices)
    if (index < 1 || index > most)
      error(job, std::string("Fixed parameter ") + name + "(" + adjustfmt(index) + ") is not one of 1 to " +
                     adjustfmt(most) + ".");
}

void make_arrays(Job& job) {
  Model_arrays& model = job.model;
  if (model.parm.allocate(model.nlogit) && model.beta.allocate(model.ncovs_nlbetas) &&
      model.betast.allocate(model.ncovs_nlbetas) && model.fixpar.allocate(model.nlogit) &&
      model.profileflag.allocate(model.nlogit) && model.bindex.allocate(model.ncovs_nlbetas))
    return;
  warn_of_allocation(job, "from memory allocation of PARM, BETA, FIXPAR, BETAST and BINDEX.",
                     Allocation::no_memory);
  error(job, "No memory for the parameters of the model.");
}

bool column_is_zero(const Array2<double>& design, int col) {
  const std::span<const double> cells = design.column(col);
  return std::all_of(cells.begin(), cells.end(), [](double cell) { return cell == 0.0; });
}

}  // namespace

void estimate_statements(Job& job) {
  Model_arrays& model = job.model;
  bool more = true;
  while (more) {
    getcmd(job);
    if (ends_procedure(job)) break;
    job.status.indent = statement_indent;
    more = read_statement(job);
  }
  job.status.indent = procedure_indent;
  if (job.status.show_dt_model != 0)
    model.modnam +=
        " " + std::string(datastrings(job.status.dattyp)) + " (" + adjustfmt(job.status.dattyp) + ")";
}

void model_arrays(Job& job) {
  Model_arrays& model = job.model;
  if (model.nlogit == 0 || model.ncovs == 0) error(job, "No DESIGN MATRIX was specified.");
  check_indices(job, model.fixdex, model.nlogit, "PARM");
  check_indices(job, model.fixbetadex, model.ncovs_nlbetas, "BETA");
  if (model.nfixed() > 0 && model.nummlogit() > 0) find_fixed_members(job);
  make_arrays(job);

  for (int index : model.fixdex) model.fixpar(index) = 1;
  for (int index : model.profilevals) {
    if (index >= 1 && index <= model.nlogit)
      model.profileflag(index) = 1;
    else
      warn(job, "Profile likelihood interval wanted for real parameter " + adjustfmt(index) +
                    ", which does not exist.");
  }
  model.bindex.fill(1);
  for (int j = 1; j <= model.nbetafixed(); ++j) {
    model.beta(model.fixbetadex(j)) = model.fixbetaval(j);
    model.bindex(model.fixbetadex(j)) = 0;
  }
  for (int col = 1; col <= model.ncovs; ++col)
    if (column_is_zero(model.design, col)) model.bindex(col) = 0;
  int estimated = 0;
  for (int& position : model.bindex)
    if (position > 0) position = ++estimated;
}

}  // namespace tarn
