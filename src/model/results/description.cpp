#include "model/results/description.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "data/catalogue/datatype.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/floating_environment.h"

namespace tarn {
namespace {

std::string number_text(double x) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), x);
  return std::string(digits.data(), end.ptr);
}

/// Functions of the design with one argument.
bool one_argument(int function) {
  return function == log_function || function == exp_function || function == nlbeta_function;
}

/// Texts of the design functions. They may be nested thousands of levels deep, so what is open waits in a
/// list and not on the call stack.
class Function_texts {
 public:
  explicit Function_texts(const Job& job) : job_(job), tables_(job.model.functions) {
    make_work_area(child_, 2, tables_.numdmfuncs);
    for (int k = 1; k <= tables_.numdmfuncs; ++k)
      if (tables_.dmfuncstypes(nesting_level, k) > 1)
        child_(tables_.dmfuncstypes(row_or_slot, k), tables_.dmfuncstypes(column_or_parent, k)) = k;
  }

  std::string text(int node) const {
    struct Open {
      int node, slot;
    };
    List<Open> open{{node, 0}};
    std::string text;
    while (!open.empty()) {
      Open& top = open.back();
      const int function = tables_.dmfuncstypes(function_number, top.node);
      const int slots = one_argument(function) ? 1 : 2;
      if (top.slot == 0)
        text += std::string(dmfuncnames[static_cast<std::size_t>(function) - 1]) + '(';
      else if (top.slot < slots)
        text += ',';
      if (top.slot == slots) {
        text += ')';
        open.pop_back();
        continue;
      }
      const int slot = ++top.slot;
      if (const int nested = child_(slot, top.node); nested > 0)
        open.push_back({nested, 0});
      else
        text += argument(top.node, slot);
    }
    return text;
  }

 private:
  std::string argument(int node, int slot) const {
    const double argument = tables_.dmfuncsargs(slot, node);
    if (tables_.dmfuncstypes(slot, node) == covariate_argument)
      return View<const Charray>(job_.data.icname)(static_cast<int>(argument));
    return number_text(argument);
  }

  const Job& job_;
  const Design_matrix_funcs_module& tables_;
  Array2<int> child_;  ///< slot, node: the node whose result goes there, 0: none
};

template <class T>
void add_once(List<T>& list, const T& element) {
  if (std::find(list.begin(), list.end(), element) == list.end()) list.push_back(element);
}

template <class T>
Array2<T> copy_of(const Array2<T>& array) {
  Array2<T> copy;
  if (!array.clone(copy)) throw std::bad_alloc();
  return copy;
}

void describe_matrix(const Pim& pim, int second, int third, Model_description& description) {
  Index_matrix& matrix = description.matrices.emplace_back();
  matrix.parameter = pim.parname;
  const std::size_t first = pim.pardescptn.find_first_not_of(' ');
  if (first != std::string::npos) matrix.description = pim.pardescptn.substr(first);
  matrix.shape = name_of(pim.shape);
  matrix.group = pim.group;
  matrix.second = second;
  matrix.third = third;
  make_work_area(matrix.numbers, pim.nrows, pim.ncols);
  for (int r = 1; r <= pim.nrows; ++r)
    for (int c = 1; c <= pim.ncols; ++c) matrix.numbers(r, c) = pim.at(r, c);
}

/// Marks which rows and columns of the matrices each real parameter stands in.
void find_places(Model_description& description) {
  const int reals = description.reals.size();
  List<List<char>> in_row(reals), in_column(reals);
  List<int> last_matrix(reals, 0);
  const auto mark = [](List<char>& marks, int place) {
    if (marks.size() < place) marks.resize(place, 0);
    marks(place) = 1;
  };
  for (int m = 1; m <= description.matrices.size(); ++m) {
    const Index_matrix& matrix = description.matrices(m);
    for (int c = 1; c <= matrix.numbers.extent(2); ++c)
      for (int r = 1; r <= matrix.numbers.extent(1); ++r) {
        const int number = matrix.numbers(r, c);
        if (number < 1 || number > reals) continue;
        mark(in_row(number), r);
        mark(in_column(number), c);
        if (last_matrix(number) == m) continue;
        last_matrix(number) = m;
        Real_places& places = description.reals(number).places;
        add_once(places.parameters, matrix.parameter);
        if (!matrix.description.empty()) add_once(places.strata, matrix.description);
        add_once(places.groups, matrix.group);
      }
  }
  for (int r = 1; r <= reals; ++r) {
    Real_places& places = description.reals(r).places;
    for (int k = 1; k <= in_row(r).size(); ++k)
      if (in_row(r)(k)) places.rows.push_back(k);
    for (int k = 1; k <= in_column(r).size(); ++k)
      if (in_column(r)(k)) places.columns.push_back(k);
  }
}

void describe_matrices(const Job& job, Model_description& description) {
  for_each_matrix(job, [&description](const Pim_place& at, const Pim& pim) {
    if (pim.given()) describe_matrix(pim, at.a, at.b, description);
  });
  find_places(description);
}

void describe_reals(const Job& job, Model_description& description) {
  const Model_arrays& model = job.model;
  for (int r = 1; r <= model.nlogit; ++r) {
    Real_description& real = description.reals.emplace_back();
    real.label = model.rlabel(r);
    real.link = link_name(model.lindex(r));
    real.fixed = model.fixpar(r) != 0;
  }
  for (const Link_function_row& member : model.linkfuncptr) {
    if (member.parm < 1 || member.parm > model.nlogit) continue;
    description.reals(member.parm).set = member.set;
    description.reals(member.parm).second_set = member.second;
  }
}

void describe_betas(const Job& job, Model_description& description) {
  const Model_arrays& model = job.model;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    const bool fixed =
        std::find(model.fixbetadex.begin(), model.fixbetadex.end(), i) != model.fixbetadex.end();
    description.betas.push_back({model.blabel(i), model.bindex(i), fixed, model.scalefactor(i)});
  }
}

void describe_design(const Job& job, Model_description& description) {
  const Model_arrays& model = job.model;
  description.design = copy_of(model.design);
  const Function_texts functions(job);
  for (const Varying_cell& cell : model.varying_cells)
    description.texts.push_back(
        {cell.row, cell.col,
         cell.node > 0 ? functions.text(cell.node) : View<const Charray>(job.data.icname)(cell.covariate)});
  make_work_area(description.design_values, model.nlogit, model.ncovs);
  report_design(job, estimated_vector(model), description.design_values);
}

void describe_options(const Job& job, Model_description& description) {
  const Model_arrays& model = job.model;
  description.maxfn = model.maxfn;
  description.nsig = model.nsig;
  description.numpar = model.numpar;
  description.starts = model.starts;
  description.deltax = job.status.deltax;
  description.ratiothresh = job.status.ratiothresh;
  description.central_differences = model.centfd != 0;
  description.loop = model.loop;
  description.standardized_design = model.standardize_design;
  description.quasi = model.quasi;
  description.chat_given = model.chat_given;
  description.sample_size_of_animals = model.essanimals;
  description.initial_values = model.initial_given;
}

}  // namespace

List<Covariate_value> covariate_values(const Job& job) {
  const Status_module& status = job.status;
  List<Covariate_value> covariates;
  if (job.model.licovs == 0) return covariates;
  std::vector<double> zeros;
  const double* values = report_values(job, zeros);
  for (int c = 1; c <= status.nicovs; ++c) {
    const double value =
        values != nullptr ? values[c - 1] : View<const double>(job.data.encounters.ind_covariates(1))(c);
    covariates.push_back(
        {View<const Charray>(job.data.icname)(c), value, job.data.icvrmn(c), job.data.icvrsd(c)});
  }
  return covariates;
}

Model_description describe_model(const Job& job) {
  // Values that only the description asks for: what they raise would be told as the next model's.
  const Kept_floating_environment kept;
  const Status_module& status = job.status;
  const Model_arrays& model = job.model;
  Model_description description;
  description.title = status.titstr;
  description.name = model.modnam;
  description.dattyp = status.dattyp;
  description.keyword = status.dt_string;
  description.data_type = datastrings(status.dattyp);
  description.link = link_name(model.nlink);
  description.variance = name_of(model.vartyp);
  description.minimiser = name_of(model.optimizer);
  for (int o = 1; o <= job.data.timint.extent(); ++o)
    description.intervals.push_back(static_cast<double>(job.data.timint(o)));
  describe_reals(job, description);
  describe_betas(job, description);
  describe_matrices(job, description);
  describe_design(job, description);
  description.standardized_covariates = status.stdic != 0;
  description.covariates = covariate_values(job);
  describe_options(job, description);
  return description;
}

}  // namespace tarn
