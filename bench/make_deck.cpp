// Writes a deck of simulated data on the standard output:
//   make_deck live   [OPTION=VALUE ...]    live recaptures, {Phi p}
//   make_deck closed [OPTION=VALUE ...]    conditional likelihood of a closed population, {p c}
//   make_deck robust [OPTION=VALUE ...]    sessions with temporary emigration, {S Gamma'' Gamma' p c}
//   make_deck popan  [OPTION=VALUE ...]    an open population that animals enter, {Phi p pent N}
//   make_deck strata [OPTION=VALUE ...]    animals that move between strata, {S p Psi}
//   make_deck sites  [OPTION=VALUE ...]    sites surveyed in seasons, {p Psi}, or counts at sites, {r Lambda}
//
//   occasions=20  animals=1000  seed=1
//   slope=0           of survival (live) or capture (closed) in a covariate of the animal; with one every
//   animal is
//                     a record, without one histories are folded
// robust and popan (occasions of a session, sessions; popan has sessions of one occasion):
//   sessions=10  leaves=0.2  stays_away=0.5
// sites only (slope of the first occupancy, or of the mean abundance):
//   sites=1000  seasons=1  surveys=10  counts=0
// strata only:
//   strata=3
//   hidden=0          1: a capture may leave the state open, {S p Psi pi Delta}
//   by_time=1         0: S, p and Psi by stratum alone
// live recaptures only:
//   groups=1
//   phi_periods=0     survival has a beta for each of so many periods of like length, 0: for each interval
//   p_periods=0       the same for capture
//   phi_classes=1     groups fall into so many classes; above 1 each class has survivals of its own, and each
//   group
//                     has real parameters of its own for them
//   p_classes=1       the same for capture
//   distinct=0        animals are drawn until so many histories differ; `animals` does not count then
//   last_release=0    last occasion on which animals are released first, 0: the last but one
//   survival=1.2      mean logit of survival
//   capture=0.34      mean chance of capture

#include <charconv>
#include <functional>
#include <iomanip>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "generators.h"

namespace {

using tarn::bench::Closed_design;
using tarn::bench::Closed_record;
using tarn::bench::Live_design;
using tarn::bench::Live_record;
using tarn::bench::Session_design;
using tarn::bench::Session_record;
using tarn::bench::Site_design;
using tarn::bench::Site_record;
using tarn::bench::Strata_design;

/// The options by name, with their defaults; what is no option or no number is refused.
class Options {
 public:
  explicit Options(std::map<std::string, double, std::less<>> defaults) : values_(std::move(defaults)) {}
  bool read(std::string_view word) {
    const std::size_t equal = word.find('=');
    const auto found = values_.find(word.substr(0, equal));
    if (equal == std::string_view::npos || found == values_.end()) return false;
    const char* end = word.data() + word.size();
    const auto [stop, fault] = std::from_chars(word.data() + equal + 1, end, found->second);
    return fault == std::errc() && stop == end;
  }
  double number(std::string_view name) const { return values_.find(name)->second; }
  int count(std::string_view name) const { return static_cast<int>(number(name)); }

 private:
  std::map<std::string, double, std::less<>> values_;
};

/// The betas of one parameter by class of groups and period of intervals, and its real parameters.
struct Parameter {
  const char* name;
  int groups, intervals, classes, periods;

  bool own_reals() const { return classes > 1; }  ///< of each group
  int reals() const { return (own_reals() ? groups : 1) * intervals; }
  int betas() const { return classes * periods; }
  bool identity() const { return periods == intervals && (classes == 1 || classes == groups); }
  /// The beta, from 0, of a real parameter, from 0.
  int beta(int real) const {
    const int group = real / intervals, interval = real % intervals;
    return group % classes * periods + interval * periods / intervals;
  }
  std::string form(bool covariate) const {
    const std::string group = classes == 1 ? "" : classes == groups ? "g*" : "class*";
    return std::string(name) + "(" + group + (periods == intervals ? "t" : "period") +
           (covariate ? "+x)" : ")");
  }
};

void write_cells(int columns, int one, const char* last) {
  for (int column = 0; column < columns; ++column) std::cout << (column == one ? "1 " : "0 ");
  std::cout << last << ";\n";
}

void write_model(const Parameter& phi, const Parameter& p, bool covariate) {
  std::cout << "proc estimate link=LOGIT;\nmodel={" << phi.form(covariate) << ' ' << p.form(false) << "};\n";
  for (int g = 0; g < phi.groups; ++g)
    for (const Parameter* parameter : {&phi, &p})
      std::cout << "group=" << g + 1 << ' ' << parameter->name << " rows=" << parameter->intervals
                << " cols=" << parameter->intervals << " triang time="
                << (parameter == &p ? phi.reals() : 0) +
                       (parameter->own_reals() ? g * parameter->intervals : 0) + 1
                << ";\n";
  const int betas = phi.betas() + p.betas();
  const bool identity = phi.identity() && p.identity() && !covariate;
  std::cout << "design matrix constraints=" << phi.reals() + p.reals()
            << " covariates=" << betas + (covariate ? 1 : 0) << (identity ? " identity;\n" : ";\n");
  if (identity) return;
  for (int row = 0; row < phi.reals(); ++row) write_cells(betas, phi.beta(row), covariate ? "x" : "");
  for (int row = 0; row < p.reals(); ++row)
    write_cells(betas, phi.betas() + p.beta(row), covariate ? "0" : "");
}

void write_head(const char* what, const char* keyword, int animals, int occasions, int groups,
                std::size_t records, bool covariate) {
  std::cout << "proc title Simulated " << what << ", " << animals << " animals;\n"
            << "proc chmatrix occasions=" << occasions << " groups=" << groups << " hist=" << records
            << " etype=" << keyword << (covariate ? " icovar=1" : "") << ";\n";
  if (covariate) std::cout << "icovariates=x;\n";
}

int live(const Options& options) {
  Live_design design{.occasions = options.count("occasions"),
                     .animals = options.count("animals"),
                     .groups = options.count("groups"),
                     .slope = options.number("slope"),
                     .mean_logit = options.number("survival"),
                     .mean_capture = options.number("capture"),
                     .last_release = options.count("last_release"),
                     .distinct = options.count("distinct"),
                     .seed = static_cast<std::uint64_t>(options.number("seed"))};
  const bool covariate = design.slope != 0.0;
  const int intervals = design.occasions - 1;
  const auto periods = [&](const char* name) {
    return options.count(name) > 0 ? options.count(name) : intervals;
  };
  const Parameter phi{"Phi", design.groups, intervals, options.count("phi_classes"), periods("phi_periods")};
  const Parameter p{"p", design.groups, intervals, options.count("p_classes"), periods("p_periods")};
  for (const Parameter& parameter : {phi, p})
    if (parameter.classes < 1 || parameter.classes > design.groups || parameter.periods > intervals) {
      std::cerr << "make_deck: classes are 1 to the number of groups, periods at most the intervals\n";
      return 1;
    }
  if (design.occasions < 2 || design.animals < 1 || design.groups < 1 || design.last_release > intervals ||
      (covariate && design.distinct > 0)) {
    std::cerr
        << "make_deck: two occasions, one animal and one group are the least; animals are released before "
           "the last occasion; with a covariate each animal is a record\n";
    return 1;
  }

  const std::vector<Live_record> records = tarn::bench::live_recaptures(design);
  int animals = 0;
  for (const Live_record& record : records)
    for (const int n : record.counts) animals += n;
  write_head("live recaptures", "LIVE", animals, design.occasions, design.groups, records.size(), covariate);
  for (const Live_record& record : records) {
    std::cout << record.live;
    for (const int n : record.counts) std::cout << ' ' << n;
    if (covariate) std::cout << ' ' << std::setprecision(6) << record.covariate;
    std::cout << ";\n";
  }
  write_model(phi, p, covariate);
  return 0;
}

/// {p(t+x) c}: p by occasion, c above it by one amount on every occasion, the covariate in both.
int closed(const Options& options) {
  const Closed_design design{.occasions = options.count("occasions"),
                             .animals = options.count("animals"),
                             .slope = options.number("slope"),
                             .seed = static_cast<std::uint64_t>(options.number("seed"))};
  if (design.occasions < 2 || design.animals < 1) {
    std::cerr << "make_deck: two occasions and one animal are the least\n";
    return 1;
  }
  const bool covariate = design.slope != 0.0;
  const std::vector<Closed_record> records = tarn::bench::closed_captures(design);
  write_head("captures in a closed population", "HUGGINS", design.animals, design.occasions, 1,
             records.size(), covariate);
  for (const Closed_record& record : records) {
    std::cout << record.live << ' ' << record.count;
    if (covariate) std::cout << ' ' << std::setprecision(6) << record.covariate;
    std::cout << ";\n";
  }
  const int n = design.occasions;
  std::cout << "proc estimate link=LOGIT;\nmodel={" << (covariate ? "p(t+x) c(t+b+x)" : "p(t) c(t+b)")
            << "};\n"
            << "group=1 p rows=1 cols=" << n << " square time=1;\n"
            << "group=1 c rows=1 cols=" << n - 1 << " square time=" << n + 1 << ";\n"
            << "design matrix constraints=" << 2 * n - 1 << " covariates=" << n + (covariate ? 2 : 1)
            << ";\n";
  const char* last = covariate ? "x" : "";
  for (int o = 0; o < n; ++o) write_cells(n, o, (std::string("0 ") + last).c_str());
  for (int o = 1; o < n; ++o) write_cells(n, o, (std::string("1 ") + last).c_str());
  return 0;
}

Session_design session_design(const Options& options) {
  return {.sessions = options.count("sessions"),
          .occasions = options.count("occasions"),
          .animals = options.count("animals"),
          .leaves = options.number("leaves"),
          .stays_away = options.number("stays_away"),
          .seed = static_cast<std::uint64_t>(options.number("seed"))};
}

/// @param intervals  the lengths of all intervals, blanks before them; may be empty
int write_session_records(const Session_design& design, const char* what, const char* keyword,
                          const std::string& intervals) {
  if (design.sessions < 2 || design.occasions < 1 || design.animals < 1) {
    std::cerr << "make_deck: two sessions of one occasion and one animal are the least\n";
    return 1;
  }
  const std::vector<Session_record> records = tarn::bench::session_captures(design);
  write_head(what, keyword, design.animals, design.sessions * design.occasions, 1, records.size(), false);
  if (!intervals.empty()) std::cout << "time intervals" << intervals << ";\n";
  for (const Session_record& record : records) std::cout << record.live << ' ' << record.count << ";\n";
  return 0;
}

/// {S(t) Gamma''(.) Gamma'(.) p(s)=c(s)}.
int robust(const Options& options) {
  const Session_design design = session_design(options);
  std::string intervals;
  for (int o = 1; o < design.sessions * design.occasions; ++o)
    intervals += o % design.occasions == 0 ? " 1" : " 0";
  if (const int status = write_session_records(design, "robust design", "RDHUGGINS", intervals); status != 0)
    return status;
  const int between = design.sessions - 1;
  std::cout << "proc estimate link=LOGIT;\nmodel={S(t) Gamma''(.) Gamma'(.) p(s)=c(s)};\n"
            << "group=1 S rows=1 cols=" << between << " square time=1;\n"
            << "group=1 Gamma'' rows=1 cols=" << between << " square constant=" << between + 1 << ";\n"
            << "group=1 Gamma' rows=1 cols=" << between << " square constant=" << between + 2 << ";\n";
  for (int s = 1; s <= design.sessions; ++s) {
    std::cout << "group=1 p Session " << s << " rows=1 cols=" << design.occasions
              << " square constant=" << between + 2 + s << ";\n";
    if (design.occasions > 1)
      std::cout << "group=1 c Session " << s << " rows=1 cols=" << design.occasions - 1
                << " square constant=" << between + 2 + s << ";\n";
  }
  const int betas = between + 2 + design.sessions;
  std::cout << "design matrix constraints=" << betas << " covariates=" << betas << " identity;\n";
  return 0;
}

/// {Phi(t) p(t) pent(t) N}, entries by multinomial logit.
int popan(const Options& options) {
  Session_design design = session_design(options);
  design.occasions = 1;
  design.leaves = 0.0;
  design.sessions = options.count("occasions");
  if (const int status = write_session_records(design, "entries to an open population", "POPAN", "");
      status != 0)
    return status;
  const int n = design.sessions, betas = 3 * n - 1;
  std::cout << "proc estimate link=PARM-SPECIFIC;\nmodel={Phi(t) p(t) pent(t) N};\n"
            << "group=1 Phi rows=1 cols=" << n - 1 << " square time=1;\n"
            << "group=1 p rows=1 cols=" << n << " square time=" << n << ";\n"
            << "group=1 pent rows=1 cols=" << n - 1 << " square time=" << 2 * n << ";\n"
            << "group=1 N rows=1 cols=1 square constant=" << betas << ";\n"
            << "design matrix constraints=" << betas << " covariates=" << betas << " identity;\nlinks;\n";
  for (int row = 1; row <= betas; ++row)
    std::cout << (row == betas ? "LOG" : row >= 2 * n ? "MLOGIT(1)" : "LOGIT") << ";\n";
  return 0;
}

/// {p(t) Psi(x)} of one season, {Psi Epsilon(t) Gamma(t) p(s)} of several, {r(t) Lambda(x)} of counts.
int sites(const Options& options) {
  const Site_design design{.sites = options.count("sites"),
                           .seasons = options.count("seasons"),
                           .surveys = options.count("surveys"),
                           .slope = options.number("slope"),
                           .counts = options.number("counts") != 0.0,
                           .seed = static_cast<std::uint64_t>(options.number("seed"))};
  const bool covariate = design.slope != 0.0, several = design.seasons > 1;
  if (design.sites < 1 || design.surveys < 1 || design.seasons < 1 ||
      (several && (covariate || design.counts))) {
    std::cerr << "make_deck: one site, season and survey are the least; covariate and counts in one season\n";
    return 1;
  }
  std::map<std::pair<std::string, double>, int> folded;
  for (const Site_record& record : tarn::bench::site_surveys(design))
    ++folded[{record.history, record.covariate}];
  write_head("surveys",
             design.counts ? "OCCUPRPOISSON"
             : several     ? "RDOCCUPEG"
                           : "OCCUPANCY",
             design.sites, design.seasons * design.surveys, 1, folded.size(), covariate);
  if (several) {
    std::cout << "time intervals";
    for (int o = 1; o < design.seasons * design.surveys; ++o)
      std::cout << (o % design.surveys == 0 ? " 1" : " 0");
    std::cout << ";\n";
  }
  for (const auto& [site, count] : folded) {
    std::cout << site.first << ' ' << count;
    if (covariate) std::cout << ' ' << std::setprecision(6) << site.second;
    std::cout << ";\n";
  }
  std::cout << "proc estimate link=LOGIT;\n";
  if (several) {
    const int between = design.seasons - 1, betas = 1 + 2 * between + design.seasons;
    std::cout << "model={Psi Epsilon(t) Gamma(t) p(s)};\n"
              << "group=1 Psi rows=1 cols=1 square constant=1;\n"
              << "group=1 Epsilon rows=1 cols=" << between << " square time=2;\n"
              << "group=1 Gamma rows=1 cols=" << between << " square time=" << 2 + between << ";\n";
    for (int s = 1; s <= design.seasons; ++s)
      std::cout << "group=1 p Session " << s << " rows=1 cols=" << design.surveys
                << " square constant=" << 1 + 2 * between + s << ";\n";
    std::cout << "design matrix constraints=" << betas << " covariates=" << betas << " identity;\n";
    return 0;
  }
  const int n = design.surveys;
  std::cout << "model={" << (design.counts ? "r(t) Lambda" : "p(t) Psi") << (covariate ? "(x)};\n" : "};\n")
            << "group=1 " << (design.counts ? 'r' : 'p') << " rows=1 cols=" << n << " square time=1;\n"
            << "group=1 " << (design.counts ? "Lambda" : "Psi") << " rows=1 cols=1 square constant=" << n + 1
            << ";\n"
            << "design matrix constraints=" << n + 1 << " covariates=" << n + (covariate ? 2 : 1) << ";\n";
  const char* last = covariate ? "0 0" : "0";
  for (int o = 0; o < n; ++o) write_cells(n, o, last);
  write_cells(n, n, covariate ? "1 x" : "1");
  return 0;
}

/// S, p and Psi by stratum, and by time, Psi by multinomial logit; of hidden states pi and Delta.
int strata(const Options& options) {
  const Strata_design design{.strata = options.count("strata"),
                             .occasions = options.count("occasions"),
                             .animals = options.count("animals"),
                             .hidden = options.number("hidden") != 0.0,
                             .seed = static_cast<std::uint64_t>(options.number("seed"))};
  const int n = design.strata, between = design.occasions - 1;
  if (n < 1 || n > 26 || between < 1 || design.animals < 1) {
    std::cerr << "make_deck: 1 to 26 strata, two occasions and one animal are the least\n";
    return 1;
  }
  std::map<std::string, int> folded;
  for (const std::string& history : tarn::bench::strata_captures(design)) ++folded[history];
  std::cout << "proc title " << design.animals
            << " animals in strata;\nproc chmatrix occasions=" << design.occasions
            << " groups=1 etype=" << (design.hidden ? "HIDMARKOV events=1" : "MULTISTRATA") << " strata=" << n
            << " hist=" << folded.size() << " nohist;\nstrata=";
  for (int a = 0; a < n; ++a) std::cout << ' ' << static_cast<char>('A' + a);
  std::cout << (design.hidden ? " u;\n" : ";\n");
  for (const auto& [history, animals] : folded) std::cout << history << ' ' << animals << ";\n";
  const bool by_time = options.number("by_time") != 0.0;
  std::cout << "proc estimate link=PARM-SPECIFIC;\nmodel={"
            << (by_time ? "by stratum and time" : "by stratum") << "};\n";
  int next = 1, sets = 0;
  std::vector<std::string> links;
  const auto matrix = [&](const std::string& name, bool many, int columns) {
    std::cout << "group=1 " << name << " rows=1 cols=" << columns << " square "
              << (many ? "time=" : "constant=") << next << ";\n";
    next += many ? columns : 1;
  };
  const auto logits = [&] { links.resize(static_cast<std::size_t>(next) - 1, "LOGIT"); };
  const auto letter = [](int a) { return std::string(1, static_cast<char>('A' + a)); };
  for (const char* name : {"S ", "p "})
    for (int a = 0; a < n; ++a) matrix(name + letter(a) + " :", by_time, between);
  logits();
  for (int a = 0; a < n; ++a) {
    for (int b = 0; b < n; ++b) {
      if (b == a) continue;
      matrix("Psi " + letter(a) + " to " + letter(b), by_time, between);
      for (int c = 1; c <= (by_time ? between : 1); ++c)
        links.push_back("MLOGIT(" + std::to_string(sets + c) + ")");
    }
    sets += by_time ? between : 1;
  }
  for (int a = 0; design.hidden && a < n; ++a) {
    matrix("Delta " + letter(a) + "|" + letter(a), false, design.occasions);
    logits();
  }
  for (int a = 0; design.hidden && a + 1 < n; ++a) {
    matrix("pi " + letter(a) + " :", false, design.occasions);
    links.push_back("MLOGIT(" + std::to_string(sets + 1) + ")");
  }
  std::cout << "design matrix constraints=" << next - 1 << " covariates=" << next - 1
            << " identity;\nlinks;\n";
  for (const std::string& link : links) std::cout << link << ";\n";
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view kind = count > 1 ? arguments[1] : "";
  std::map<std::string, double, std::less<>> defaults{
      {"occasions", 20}, {"animals", 1000}, {"slope", 0}, {"seed", 1}};
  if (kind == "live")
    defaults.insert({{"groups", 1},
                     {"phi_periods", 0},
                     {"p_periods", 0},
                     {"phi_classes", 1},
                     {"p_classes", 1},
                     {"distinct", 0},
                     {"last_release", 0},
                     {"survival", 1.2},
                     {"capture", 0.34}});
  const std::map<std::string_view, int (*)(const Options&)> kinds{{"live", live},     {"closed", closed},
                                                                  {"robust", robust}, {"popan", popan},
                                                                  {"strata", strata}, {"sites", sites}};
  if (kind == "sites") defaults.insert({{"sites", 1000}, {"seasons", 1}, {"surveys", 10}, {"counts", 0}});
  if (kind == "strata") defaults.insert({{"strata", 3}, {"hidden", 0}, {"by_time", 1}});
  if (kind == "robust" || kind == "popan")
    defaults.insert({{"sessions", 10}, {"leaves", 0.2}, {"stays_away", 0.5}});
  const auto chosen = kinds.find(kind);
  if (chosen == kinds.end()) {
    std::cerr << "make_deck live|closed|robust|popan|strata|sites [OPTION=VALUE ...]\n";
    return 1;
  }
  Options options(std::move(defaults));
  for (int i = 2; i < count; ++i)
    if (!options.read(arguments[i])) {
      std::cerr << "make_deck: no option of " << kind << ", or no number: " << arguments[i] << '\n';
      return 1;
    }
  const int status = chosen->second(options);
  if (status == 0) std::cout << "proc stop;\n";
  return status;
}
