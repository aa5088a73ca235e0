#include "data/xmatrx.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"
#include "data/data_options.h"
#include "data/gaussquad.h"
#include "data/records.h"
#include "data/site_checks.h"
#include "data/species.h"
#include "data/strata.h"
#include "data/summaries.h"
#include "data/tabulation.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"

namespace tarn {

namespace {

/// No history, label list or count list can be longer than the statement that holds it.
constexpr int longest_list = MAXCHR;
/// Cells of one tabulation array beyond which no machine is asked for memory.
constexpr double most_tabulated = 67108864.0;

void reset_data(Job& job) {
  Status_module& status = job.status;
  const int order = job.data.order;  // lives as long as the job
  job.data = Data_module{};
  job.data.order = order;
  status.nstrta = 1, status.nmixtures = 1;
  status.nevents = status.neventsp = status.neventslr = status.neventsbr = 0;
  status.noccas = status.ngrps = status.nhist = status.nicovs = 0;
  status.nspeciesocc = 0;
}

void allocate_data(Job& job) {
  const Status_module& status = job.status;
  Data_module& data = job.data;
  constexpr std::string_view tabulation = "from memory allocation of GLABEL, TIMINT, U, and UL.";
  const int layers = std::max(status.nstrtaplus, 1);
  const bool possible = status.noccas <= longest_list && status.ngrps <= longest_list &&
                        static_cast<double>(status.noccas) * status.ngrps * layers <= most_tabulated;
  if (!possible) {
    warn_of_allocation(job, tabulation, Allocation::no_memory);
  } else if (allocate(job, tabulation, shaped(data.timint, status.noccas),
                      shaped(data.u, status.noccas, status.ngrps, layers),
                      shaped(data.ul, status.noccas, status.ngrps, layers))) {
    data.glabel.assign(status.ngrps, Charray());
    data.ehist.assign(2 * static_cast<std::size_t>(status.noccas), ' ');
  }
  if (status.nicovs > 0) {
    constexpr std::string_view covariates = "from memory allocation of ICNAME, ICVRMN, and ICVRSD.";
    if (status.nicovs > longest_list)
      warn_of_allocation(job, covariates, Allocation::no_memory);
    else if (allocate(job, covariates, shaped(data.icvrmn, status.nicovs),
                      shaped(data.icvrsd, status.nicovs)))
      data.icname.assign(status.nicovs, Charray());
  }
}

/// The arrays must be there, and as large as the options that were read last say.
void require_data_arrays(Job& job) {
  const Status_module& status = job.status;
  const Data_module& data = job.data;
  require(job, data.timint, "TIMINT");
  require(job, data.u, "U");
  require(job, data.ul, "UL");
  if (status.nicovs > 0) {
    require(job, data.icvrmn, "ICVRMN");
    require(job, data.icvrsd, "ICVRSD");
  }
  if (data.u.extent(1) != status.noccas || data.u.extent(2) != status.ngrps ||
      (status.nicovs > 0 && data.icvrmn.extent() != status.nicovs))
    error(job, "OCCASIONS=, GROUPS= or ICOVAR= is specified twice with different values.");
}

/// The arrays that single families need.
void allocate_family_arrays(Job& job) {
  const Status_module& status = job.status;
  Data_module& data = job.data;
  const Datatype& row = datatype(status.dattyp);
  const int k = status.noccas, g = status.ngrps;
  switch (row.resight) {
    case Resight::none:
      break;
    case Resight::logit_normal:
      allocate(job, "from memory allocation of UNMARKED and MARKUNID.", shaped(data.unmarked, k, g),
               shaped(data.markunid, k, g));
      break;
    case Resight::immigration:
      allocate(job, "from memory allocation of UNMARKED, MARKUNID, TMARKED, and MARKKNWN.",
               shaped(data.unmarked, k, g), shaped(data.markunid, k, g), shaped(data.tmarked, k, g),
               shaped(data.markknwn, k, g));
      allocate(job, "from memory allocation of NBARMIN and NSTARMIN.", shaped(data.nbarmin, k, g),
               shaped(data.nstarmin, k, g));
      break;
    case Resight::poisson:
      allocate(job, "from memory allocation of UNMARKED, MARKUNID, MARKKNWN, NSTAR and CSTAR.",
               shaped(data.unmarked, k, g), shaped(data.markunid, k, g), shaped(data.markknwn, k, g),
               shaped(data.nstar, k, g), shaped(data.cstar, k, g));
      break;
  }
  if (row.nstarstate) allocate(job, "from memory allocation of NSTARSTATE.", shaped(data.nstarstate, k, g));
  if (row.density) hold_locations(job, 1);
}

void name_groups(Job& job) {
  List<Charray>& glabel = job.data.glabel;
  glabel(1) = "Control Group";
  if (job.status.ngrps == 2) glabel(2) = "Treatment Group";
  for (int i = 2; job.status.ngrps > 2 && i <= job.status.ngrps; ++i)
    glabel(i) = formatted("(A,I0)", "Treatment Group ", i - 1);
}

/// The statement behind the one in hand, which is echoed unless it is a record and NOHIST is set.
void next_statement(Job& job, bool silent) {
  const int noecho = job.status.noecho;
  if (silent) job.status.noecho = 1;
  getcmd(job);
  job.status.noecho = noecho;
}

void read_statements(Job& job, Data_procedure& procedure) {
  Status_module& status = job.status;
  getcmd(job);
  for (;;) {
    status.indent = -2;
    const std::string first = word(job, 1);
    if (ends_procedure(job)) return;
    const std::string second = status.lstwrd > 1 ? word(job, 2) : std::string();
    if (first == "TIME") {
      tmread(job);
    } else if (first == "RECOVERY") {
      rcread(job, procedure);
    } else if (first == "KNOWN" && second == "FATE") {
      kfread(job, procedure);
    } else if (first == "KNOWN" || first == "UNMARKED" || first == "MARKED") {
      read_counts(job);
    } else if (first == "NEST") {
      if (datatype(status.dattyp).cell != Cell::nest)
        error(job, "Data type must be nest success to enter encounter histories in this format.");
      nsread(job, procedure);
    } else {
      bool record = false;
      if (first == "GLABEL")
        read_group_label(job);
      else if (first == "STRATA")
        read_strata(job);
      else if (first == "ICOVARIATES")
        read_covariate_names(job);
      else if (first == "AREAS")
        read_areas(job);
      else
        record = true;
      if (record) read_record(job, procedure);
      next_statement(job, record && procedure.nohist);
    }
  }
}

void report_counts(Job& job) {
  const Status_module& status = job.status;
  linchk(job, 3);
  const auto line = [&](std::string_view text, int n) {
    put(job, listing, "(6x,a,i0,a)", text, n, ".");
    put(job, screen, "(3x,a,i0,a)", text, n, ".");
  };
  line("Number of unique encounter histories read was ", status.nhist);
  line("Number of individual covariates read was ", status.nicovs);
  bool equal = true;
  for (const float length : job.data.timint) equal = equal && length == 1.0f;
  const std::string_view intervals = equal ? "Time interval lengths are all equal to 1."
                                           : "Time interval lengths vary and/or not equal to 1.";
  put(job, listing, "(6x,a)", intervals);
  put(job, screen, "(3x,a)", intervals);
}

void fill_parameter_list(Job& job) {
  const Status_module& status = job.status;
  if (!is_datatype(status.dattyp))
    error(job, "Invalid value of DATATYPE is being used to set the parameter names.");
  job.data.parameterlist = parmlist(status.dattyp);
  job.data.numparmnames = job.data.parameterlist.size();
}

void report_data_type(Job& job) {
  Status_module& status = job.status;
  status.formt = datastrings(status.dattyp);
  linchk(job, 3);
  put(job, listing | screen, "(/6x,a,i0/6x,a,a)", "Data type number is ", status.dattyp, "Data type is ",
      status.formt);
  if (status.debug == 0 || !is_datatype(status.dattyp)) return;
  const std::vector<std::string> names = parmlist(status.dattyp);
  static constexpr std::string_view number = " Parameter number ", named = " named ";
  std::vector<int> numbers(names.size());
  std::vector<Item> items;
  for (std::size_t i = 0; i < names.size(); ++i) {
    numbers[i] = static_cast<int>(i) + 1;
    items.insert(items.end(), {item(number), item(numbers[i]), item(named), item(names[i])});
  }
  put_block(job, formatted_runtime(job, "(30(/(a,i0,a,a)))", std::span<const Item>(items)));
}

void report_species(Job& job, const Data_procedure& procedure) {
  build_species_design(job);
  check_species(job, procedure);
  linchk(job, 1);
  put(job, listing, "(1x,\"Number of Species = \",i0)", job.status.nspeciesocc);
  if (!job.status.debug) return;
  const Array2<int>& fdesign = job.data.fdesign;
  List<int> cells;
  for (int c = 1; c <= fdesign.extent(2); ++c) cells.push_back(c);
  std::string text = formatted("(4x,'COLS:',64i3)", cells.span());
  for (int r = 1; r <= fdesign.extent(1); ++r) {
    for (int c = 1; c <= fdesign.extent(2); ++c) cells(c) = fdesign(r, c);
    text += '\n' + formatted("(1x,'ROW ',i3,':',64i3)", r, cells.span());
  }
  put_block(job, text);
}

void report_tabulation(Job& job) {
  const Status_module& status = job.status;
  put_lines(job, formatted("(1x,4(a,i0,1x))", "NEVENTS=", status.nevents, "NEVENTSP=", status.neventsp,
                           "NEVENTSBR=", status.neventsbr, "NEVENTSLR=", status.neventslr));
  const auto array = [&](std::string_view name, const Array3<float>& counts) {
    put_lines(job, formatted("(1x,a)", name));
    for (int layer = 1; layer <= counts.extent(3); ++layer)
      for (int g = 1; g <= counts.extent(2); ++g) {
        std::vector<float> row;
        for (int o = 1; o <= counts.extent(1); ++o) row.push_back(counts(o, g, layer));
        put_lines(job, formatted("(10(1x,g14.7))", row));
      }
  };
  array("U=", job.data.u);
  array("UL=", job.data.ul);
}

/// Every density needs an area.
void complete_areas(Job& job) {
  if (!datatype(job.status.dattyp).density || job.data.areas.present()) return;
  warn(job, "No AREAS statement was found. The area of every group is taken as 1.");
  allocate_areas(job);
  job.data.areas.fill(1.0);
}

}  // namespace

void data_procedure(Job& job) {
  reset_data(job);
  read_sizes(job);
  allocate_data(job);
  if (!xmatrx(job)) stop("TARN Error found in data");
  check_ieee_exceptions(job, "reading data");
}

bool xmatrx(Job& job) {
  Status_module& status = job.status;
  status.detail = 1;
  status.stdic = status.icmeans = status.liveeh = status.dattyp = status.closedmodel = 0;
  status.nprimy = status.nmixtures = 1;
  Data_procedure procedure;
  read_data_options(job, procedure);
  require_data_arrays(job);
  job.data.encounters.reset(status.noccas, status.ngrps, status.nicovs, status.nhist);
  allocate_family_arrays(job);
  name_groups(job);
  job.data.timint.fill(1.0f);
  read_statements(job, procedure);

  if (procedure.faulty) return false;
  finish_records(job, procedure);
  complete_areas(job);
  status.nhist = job.data.encounters.size();
  report_counts(job);
  report_data_type(job);
  const Datatype& row = datatype(status.dattyp);
  if (row.nodes == Nodes::listed) {
    linchk(job, 1);
    put(job, listing | screen, "(6x,a,i0)", "Number of integration nodes = ", job.data.order);
  }
  if (row.nodes != Nodes::none) gausquadpar(job);
  fill_parameter_list(job);
  if (row.species) report_species(job, procedure);
  if (status.debug) report_tabulation(job);
  return true;
}

}  // namespace tarn
