#pragma once
// The arrays of a data set (Data_module) and of one model (Model_arrays).

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "data/catalogue/encounter.h"
#include "data/catalogue/link.h"
#include "job/status_module.h"
#include "model/design_matrix_funcs_module.h"
#include "numerics/array.h"
#include "numerics/list.h"
#include "optimizers/minimiser.h"

namespace tarn {

struct Job;
struct Likelihood_work;  ///< what the likelihood keeps per model: facts of histories, work areas of threads

template <class Real>
struct Ch_result;
template <class Real>
class Cell_work;

template <class Real>
struct Real_work;

/// Real parameters 1 to nlogit, as a cell routine sees them, under a stamp that stands for their values: what
/// follows from the reals of one stamp may be kept for all that come with the same one. Only the link routine
/// issues stamps.
template <class Real>
class Reals {
 public:
  Reals() = default;
  /// Made-up values, of which nothing may be kept.
  explicit Reals(const Real* first) : before_(first - 1) {}
  /// What stands for the values of a work area, under their stamp.
  template <class Base>
  Reals(const Real* first, const Real_work<Base>& values)
      : Reals(first, values.stamp(), values.shared_stamp()) {}
  const Real& operator[](int i) const { return before_[i]; }
  /// For loops that want no second look: `before()[i]` is real parameter i.
  const Real* before() const { return before_; }
  /// Other values have another stamp, in all of one model; 0 for values that were made up.
  std::uint64_t stamp() const { return stamp_; }
  /// The same for the values of those that do not depend on the record.
  std::uint64_t shared_stamp() const { return shared_stamp_; }
  /// For what depends on none of those that depend on the record.
  Reals shared() const {
    Reals values = *this;
    values.stamp_ = shared_stamp_;
    return values;
  }

 private:
  friend struct Real_work<Real>;
  Reals(const Real* first, std::uint64_t stamp, std::uint64_t shared_stamp)
      : before_(first - 1), stamp_(stamp), shared_stamp_(shared_stamp) {}

  const Real* before_ = nullptr;
  std::uint64_t stamp_ = 0, shared_stamp_ = 0;
};

/// A cell routine: the probability of `histry` (record i, or a made-up history with i = 1) in group j;
/// `lost` 0 for `observed`, 1 for `lost_on_capture`.
template <class Real>
using Cell_routine = void (*)(const Job&, Ch_result<Real>& result, History histry, int i, int j, int lost,
                              const Reals<Real>& parm, Cell_work<Real>& work);

/// Which cells a parameter index matrix has: all, those from the diagonal on, or blocks of such triangles
/// below each other.
enum class Pim_shape { none, square, triang, striang };

/// Their words.
inline constexpr std::array<std::string_view, 4> pim_shape_names{"None", "SQUARE", "TRIANG", "STRIANG"};

constexpr std::string_view name_of(Pim_shape shape) {
  return pim_shape_names[static_cast<std::size_t>(shape)];
}

/// One parameter index matrix. Cells left of a row's start do not exist and hold 0, as does a cell without a
/// number.
struct Pim {
  std::string parname, pardescptn;
  int group = 0;
  Pim_shape shape = Pim_shape::none;
  int nrows = 0, ncols = 0, nmix = 0;
  List<int> cells;  ///< nrows x ncols, row by row; 0 where no cell or no number stands

  bool given() const { return nrows > 0; }
  /// First column of row r.
  int start(int r) const {
    if (shape == Pim_shape::triang) return r;
    if (shape == Pim_shape::striang) return (r - 1) % ncols + 1;
    return 1;
  }
  /// Number of the real parameter in row r, column c; 0 outside the matrix.
  int at(int r, int c) const {
    if (r < 1 || r > nrows || c < start(r) || c > ncols) return 0;
    return cells((r - 1) * ncols + c);
  }
  /// The cell in row r, column c, which must be there.
  int& cell(int r, int c) { return cells((r - 1) * ncols + c); }
};

/// The four-dimensional array of matrices: parameter, second index, third index, group; parameter fastest.
class Pim_array {
 public:
  void allocate(int numparmnames, int index2lobd, int index2upbd, int index3lobd, int index3upbd, int ngrps) {
    n1_ = numparmnames, lo2_ = index2lobd, n2_ = index2upbd - index2lobd + 1, lo3_ = index3lobd;
    n3_ = index3upbd - index3lobd + 1;
    pims_.assign(n1_ * n2_ * n3_ * ngrps, Pim{});
  }
  bool present() const { return !pims_.empty(); }
  Pim& operator()(int q, int a, int b, int g) { return pims_(place(q, a, b, g)); }
  const Pim& operator()(int q, int a, int b, int g) const { return pims_(place(q, a, b, g)); }

 private:
  int place(int q, int a, int b, int g) const {
    return q + n1_ * (a - lo2_ + n2_ * (b - lo3_ + n3_ * (g - 1)));
  }
  int n1_ = 0, lo2_ = 1, n2_ = 0, lo3_ = 1, n3_ = 0;
  List<Pim> pims_;
};

/// The arrays of a data set: from one data procedure to the next, or to the end of the job.
struct Data_module {
  Encounter_store encounters;
  std::string ehist;     ///< cells of the record in work, 2 x noccas characters
  Array1<float> timint;  ///< interval lengths, 1 to noccas
  int timevy = 0;        ///< 0: every interval that the family uses as time is 1
  Array3<float> u, ul;   ///< released and lost: occasion or session, group, stratum
  List<Charray> glabel, icname;
  Array1<double> icvrmn, icvrsd;  ///< mean and deviation of each individual covariate
  std::string strata = "10" + std::string(94, ' ');
  int order = 101;  ///< quadrature nodes
  Array1<double> ghqv, ghqw;
  Array1<double> areas;
  Array2<double> unmarked, markunid, markknwn, tmarked, nstar, cstar, nbarmin, nstarmin, nstarstate;
  Array1<double> nlocations, ninside;
  Array2<int> fdesign;  ///< 2^n states x (2^n - 1) sets of species: 1 where the state holds the set
  Array2<int> pdesign;  ///< 2^n states x n species: 1 where the state holds the species
  List<Charray> parameterlist;
  int numparmnames = 0;
  double quasi_chat = 0.0;  ///< c-hat of the last model under QUASI, 0: there was none
};

/// One member of a multinomial set: a row of `linkfuncptr`.
struct Link_function_row {
  Link code = Link::none;  ///< MLOGIT, CLOGIT or SUMRATIO
  int set = 0;             ///< set number
  int second = 0;          ///< second number of a CLOGIT
  int parm = 0;            ///< real parameter
  int fixed = 0;           ///< position in `fixdex`, 0 if it is not fixed
};

/// A cell of the compiled design.
struct Design_cell {
  int col = 0;
  int varying = 0;  ///< number of the varying cell that gives the value; 0: a plain value
  double value = 0.0;
};

/// A cell of the design that depends on the animal (a covariate) or on a design function.
struct Varying_cell {
  int row = 0, col = 0;
  int covariate = 0;  ///< individual covariate, or 0
  int node = 0;       ///< level 1 function node, or 0
};

/// Variance procedures, as VAREST= and the listing number them.
enum class Variance : int { hessian = 1, observed, expected, second_partials };

/// Their names by code 1 to 4.
inline constexpr std::array<std::string_view, 4> variance_names{"Hessian", "Observed", "Expected", "2ndPart"};

constexpr std::string_view name_of(Variance procedure) {
  return variance_names[static_cast<std::size_t>(procedure) - 1];
}

/// What lives for one PROC ESTIMATE; leaving the procedure is `job.model = {}`.
struct Model_arrays {
  // options
  int centfd = 0, licovs = 0;
  int phase1 = 1, phase2 = 1, phase3 = 1;
  bool initial_given = false;  ///< the INITIAL statement was read
  int pentfirst = 1, lmcmc = 0, useobserved = 0, mcmcsamsiz = 0;
  int ntune = 4000, nburn = 1000, nmcmc = 10000, nseries = 1, iseed = 0;
  double stepsize = 0.5;
  std::string mcmcfilename = "MCMC.BIN", mcmccsvfilename;
  int numderivedmcmcpar = 0;
  Link nlink = Link::sin;
  Variance vartyp = Variance::second_partials;
  Minimiser optimizer = Minimiser::va09ad;
  int maxfn = 2000, nsig = 7, numpar = 0;
  int starts = 0;  ///< starts asked for; 0: the model's own, and a second of another kind where it is earned
  bool loop = false, standardize_design = true, essanimals = false, quasi = false, identity = false;
  double chatuse = 1.0;
  double chat_given = 0.0;  ///< CHAT=, 0: none. It is in the matrices of betas and reals from the start
  double chat = 1.0;        ///< c-hat of the quasi-likelihood
  std::string modnam = "{No Model Specified}";

  // parameter index matrices
  Pim_array pim2;
  int pim2index2lobd = 1, pim2index2upbd = 1, pim2index3lobd = 1, pim2index3upbd = 1;
  List<int> minlen;  ///< secondary occasions of each primary session
  int maxprimoccas = 0;

  // design
  int nlogit = 0, ncovs = 0, nlbetas = 0, ncovs_nlbetas = 0;
  Array2<double> design;        ///< as read, coded cells included
  Array1<int> designicvarflag;  ///< per row
  Design_matrix_funcs_module functions;
  List<int> dmicrows;                   ///< rows that depend on the animal, ascending
  List<List<Design_cell>> design_rows;  ///< compiled rows, without zero cells
  List<Varying_cell> varying_cells;
  Array1<double> scalefactor;  ///< 1 to ncovs_nlbetas
  Array1<Charray> rlabel, blabel;
  List<Charray> dlabel;

  // links
  Array1<Link> lindex;                  ///< link of each real parameter
  List<Link_function_row> linkfuncptr;  ///< nummlogit rows

  // what the statements fix and ask for
  List<double> intvals;
  List<int> fixdex, fixbetadex;
  List<double> fixval, fixbetaval;
  List<double> icvalues;
  List<int> profilevals;

  // betas and reals
  std::uint64_t real_works = 0;  ///< work areas of the link routine that were prepared
  Array1<double> parm;           ///< reals of the last evaluation
  Array1<double> beta, betast;   ///< all betas, fixed ones in place; the vector that the optimizer sees
  Array1<char> fixpar, profileflag;
  Array1<int> bindex;  ///< position of a beta in the optimizer's vector, 0: not estimated

  // the likelihood
  Cell_routine<double> chprobpointer = nullptr;
  std::shared_ptr<Likelihood_work> likelihood;
  bool closed_layer_told = false;   ///< warnings on the closed layer were given
  bool not_cumulated_told = false;  ///< and that a sum over abundance was given up
  Array2<double> cellpr;            ///< record, group: probability of the observed cell
  Array2<double> cellprlost;        ///< the same of the lost-on-capture cell

  int nummlogit() const { return linkfuncptr.size(); }
  int nfixed() const { return fixdex.size(); }
  int nbetafixed() const { return fixbetadex.size(); }
  int nicvalues() const { return icvalues.size(); }
};

}  // namespace tarn
