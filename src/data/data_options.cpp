#include "data/data_options.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "data/catalogue/datatype.h"
#include "job/services/threads.h"

namespace tarn {

namespace {

constexpr int default_order = 101, least_order = 10, most_order = 512;
constexpr int most_codes = 256;

/// What the options go into.
struct Data_options {
  Job& job;
  Data_procedure& procedure;
};
using Row = Option<Data_options>;

template <auto member>
auto& status(Data_options& at) {
  return at.job.status.*member;
}
template <auto member>
auto& procedure(Data_options& at) {
  return at.procedure.*member;
}

bool has_codes_of_events(const Status_module& status) {
  return datatype(status.dattyp).strata_tail == Strata_tail::barker_events;
}

void read_nodes(Data_options& at, int i) {
  Job& job = at.job;
  const int order = ivalue(job, word(job, i));
  const bool allowed = order >= least_order && order <= most_order;
  if (!allowed) warn(job, "Invalid value for NODES = \"" + word(job, i) + "\", reset to 101.");
  job.data.order = allowed ? order : default_order;
}

void read_data_type(Data_options& at, int i) {
  Job& job = at.job;
  Status_module& status = job.status;
  const std::string& keyword = word(job, i);
  status.dattyp = dattyp_of(keyword);
  if (!is_datatype(status.dattyp)) error(job, "Invalid value of ETYPE = \"" + keyword + "\" was specified.");
  status.dt_string = word_as_typed(job, i);
  const Datatype& row = datatype(status.dattyp);
  status.liveeh = row.live ? 1 : 0;
  status.closedmodel = static_cast<int>(row.closed);
  if (!row.alphabet.empty()) {
    job.data.strata = row.alphabet;
    job.data.strata.resize(96, ' ');
  }
}

constexpr std::array rows{
    Row{.name = "OCCASIONS",
        .kind = Option_kind::integer,
        .place = status<&Status_module::noccas>,
        .preset = "required",
        .help = "encounter occasions",
        .size = true},
    Row{.name = "GROUPS",
        .kind = Option_kind::integer,
        .place = status<&Status_module::ngrps>,
        .preset = "required",
        .help = "groups",
        .size = true},
    Row{.name = "HIST",
        .kind = Option_kind::integer,
        .place = status<&Status_module::nhist>,
        .preset = "required",
        .help = "room for that many different histories; too many is no fault",
        .size = true},
    Row{.name = "ETYPE",
        .kind = Option_kind::word,
        .place = read_data_type,
        .preset = "required",
        .help = "keyword of the data type"},
    Row{.name = "ICOVAR",
        .kind = Option_kind::integer,
        .place = status<&Status_module::nicovs>,
        .help = "individual covariates of a record",
        .size = true},
    Row{.name = "STRATA",
        .kind = Option_kind::integer,
        .place = status<&Status_module::nstrta>,
        .least = 0,
        .most = 94,
        .told_as = "NSTRATA",
        .help = "strata, or states",
        .size = true},
    Row{.name = "EVENTS",
        .kind = Option_kind::integer,
        .place = status<&Status_module::nevents>,
        .least = 1,
        .most = most_codes,
        .told_as = "EVENTS",
        .help = "codes of events beside those of the strata",
        .size = true},
    Row{.name = "EVENTSP",
        .kind = Option_kind::integer,
        .place = status<&Status_module::neventsp>,
        .least = 0,
        .most = most_codes,
        .told_as = "EVENTSP",
        .help = "of these, events of captures",
        .size = true},
    Row{.name = "EVENTSLR",
        .kind = Option_kind::integer,
        .place = status<&Status_module::neventslr>,
        .least = 0,
        .most = most_codes,
        .told_as = "EVENTSLR",
        .help = "of these, events of live resightings"},
    Row{.name = "EVENTSBR",
        .kind = Option_kind::integer,
        .place = status<&Status_module::neventsbr>,
        .least = 0,
        .most = most_codes,
        .told_as = "EVENTSBR",
        .help = "of these, events of recoveries"},
    Row{.name = "MIXTURES",
        .kind = Option_kind::integer,
        .place = status<&Status_module::nmixtures>,
        .least = 1,
        .most = most_codes,
        .told_as = "MIXTURES",
        .help = "components of a mixture"},
    Row{.name = "NODES",
        .kind = Option_kind::integer,
        .place = read_nodes,
        .least = least_order,
        .most = most_order,
        .preset = "101",
        .help = "nodes of the integral over a random effect"},
    Row{.name = "DATACLONES",
        .kind = Option_kind::integer,
        .place = procedure<&Data_procedure::clones>,
        .least = 1,
        .most = std::numeric_limits<int>::max(),
        .told_as = "DATACLONES",
        .help = "each count that many times"},
    Row{.name = "STANDARDIZE",
        .place = status<&Status_module::stdic>,
        .help = "individual covariates are brought to mean 0 and standard deviation 1"},
    Row{.name = "ICMEANS",
        .place = status<&Status_module::icmeans>,
        .help = "real parameters are reported at the means of the individual covariates"},
    Row{.name = "ICUSERSPECIFIED", .help = "accepted, without effect"},
    Row{.name = "NOHIST", .place = procedure<&Data_procedure::nohist>, .help = "records are not echoed"},
    Row{.name = "DEBUG", .place = status<&Status_module::debug>, .help = "tabulated counts are listed"}};

/// Read with the sizes.
// KEPT: in the loop over the other options each of its three words warns as unknown.
constexpr Row threads_row{
    .name = "THREADS",
    .kind = Option_kind::integer,
    .place = +[](Data_options& at, int i) { set_threads(at.job, ivalue(at.job, word(at.job, i))); },
    .preset = "as on the command line",
    .help = "threads; 0 all, -1 all but one",
    .size = true};

void require_not_negative(Job& job, std::string_view option, int n) {
  if (n < 0) error(job, "Invalid value for " + std::string(option) + "=" + adjustfmt(n));
}

}  // namespace

void read_sizes(Job& job) {
  Status_module& status = job.status;
  Data_procedure unread;
  Data_options target{job, unread};
  int extra = 0;
  bool extra_is_strata = false;
  for (int i = 3; i <= status.lstwrd;) {
    const std::string& name = word(job, i);
    const Row* const option = name == threads_row.name ? &threads_row : find_option<Data_options>(rows, name);
    if (option != nullptr && option->size) {
      Row untested = *option;
      untested.least = untested.most = 0;
      take_option(job, target, untested, i);
      // KEPT: the last keyword that asks for layers decides, even when one before it asked for more.
      if (name == "EVENTS") extra = status.nevents, extra_is_strata = false;
      if (name == "EVENTSP") extra = status.neventsp, extra_is_strata = false;
      i += words_of(*option);
      continue;
    }
    const Extra_layer layer = datatype(dattyp_of(name)).extra_layer;
    if (layer != Extra_layer::none) extra = 1, extra_is_strata = layer == Extra_layer::strata;
    ++i;
  }
  if (status.noccas == 0) error(job, "No OCCASIONS= specified.");
  if (status.ngrps == 0) error(job, "No GROUPS= specified.");
  if (status.nhist == 0) error(job, "No HIST= specified.");
  require_not_negative(job, "OCCASIONS", status.noccas);
  require_not_negative(job, "GROUPS", status.ngrps);
  require_not_negative(job, "ICOVAR", status.nicovs);
  const long long layers = static_cast<long long>(extra_is_strata ? status.nstrta : extra) + status.nstrta;
  status.nstrtaplus = static_cast<int>(std::clamp<long long>(layers, 0, std::numeric_limits<int>::max()));
}

void read_data_options(Job& job, Data_procedure& procedure) {
  Status_module& status = job.status;
  Data_options target{job, procedure};
  for (int i = 3; i <= status.lstwrd;) {
    const Row* const known = find_option<Data_options>(rows, word(job, i));
    if (known == nullptr) {
      warn(job, "The chproc option \"" + word(job, i) + "\" was not recognized.");
      ++i;
      continue;
    }
    Row option = *known;
    // No event beside those that are told one by one.
    if (option.name == "EVENTS" && has_codes_of_events(status)) option.least = 0;
    take_option(job, target, option, i);
    i += words_of(option);
  }
  // The events of captures, resightings and recoveries are named by one list of codes.
  if (has_codes_of_events(status))
    status.nevents = std::max(status.nevents, status.neventsp + status.neventslr + status.neventsbr);
}

std::vector<Option_text> chmatrix_option_texts() {
  Job job;
  Data_procedure procedure;
  Data_options fresh{job, procedure};
  std::vector<Option_text> texts = describe_options<Data_options>(rows, fresh);
  const std::vector<Option_text> threads = describe_options<Data_options>({&threads_row, 1}, fresh);
  texts.insert(texts.end(), threads.begin(), threads.end());
  return texts;
}

}  // namespace tarn
