#include "generators.h"

#include <cmath>
#include <map>
#include <numbers>
#include <random>

namespace tarn::bench {
namespace {

/// Uniform and normal numbers that do not depend on the library's distributions.
class Source {
 public:
  explicit Source(std::uint64_t seed) : bits_(seed) {}
  double uniform() { return static_cast<double>(bits_() >> 11) * 0x1p-53; }
  double normal() {  // Box and Muller (1958)
    const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
    return radius * std::cos(2.0 * std::numbers::pi * uniform());
  }

 private:
  std::mt19937_64 bits_;
};

}  // namespace

double Live_design::survival_logit(int c) const { return mean_logit + 0.4 * std::sin(1.7 * c); }
double Live_design::capture(int c) const { return mean_capture + 0.08 * std::cos(1.1 * c); }

std::vector<Live_record> live_recaptures(const Live_design& design) {
  Source source(design.seed);
  std::vector<Live_record> records;
  std::map<std::string, std::vector<int>> folded;
  const int releases = design.last_release > 0 ? design.last_release : design.occasions - 1;
  const auto enough = [&](int animal) {
    return design.distinct > 0 ? folded.size() >= static_cast<std::size_t>(design.distinct)
                               : animal >= design.animals;
  };
  for (int animal = 0; !enough(animal); ++animal) {
    const int first = animal % releases + 1, group = animal % design.groups;
    Live_record record;
    record.live.assign(static_cast<std::size_t>(design.occasions), '0');
    record.live[static_cast<std::size_t>(first) - 1] = '1';
    record.counts.assign(static_cast<std::size_t>(design.groups), 0);
    record.counts[static_cast<std::size_t>(group)] = 1;
    if (design.slope != 0.0) record.covariate = source.normal();
    for (int c = first; c < design.occasions; ++c) {
      const double survival =
          1.0 / (1.0 + std::exp(-design.survival_logit(c) - design.slope * record.covariate));
      if (source.uniform() >= survival) break;
      if (source.uniform() < design.capture(c)) record.live[static_cast<std::size_t>(c)] = '1';
    }
    if (design.slope != 0.0) {
      records.push_back(record);
      continue;
    }
    auto& counts = folded[record.live];
    counts.resize(record.counts.size());
    ++counts[static_cast<std::size_t>(group)];
  }
  for (const auto& [live, counts] : folded) records.push_back({live, counts, 0.0});
  return records;
}

double Closed_design::capture_logit(int o) const { return intercept + 0.5 * std::sin(1.3 * o); }

std::vector<Closed_record> closed_captures(const Closed_design& design) {
  Source source(design.seed);
  std::vector<Closed_record> records;
  std::map<std::string, int> folded;
  for (int animal = 0; animal < design.animals;) {
    const double x = design.slope != 0.0 ? source.normal() : 0.0;
    std::string live(static_cast<std::size_t>(design.occasions), '0');
    bool seen = false;
    for (int o = 1; o <= design.occasions; ++o) {
      const double logit =
          design.capture_logit(o) + design.slope * x + (seen ? design.recapture_offset : 0.0);
      if (source.uniform() >= 1.0 / (1.0 + std::exp(-logit))) continue;
      live[static_cast<std::size_t>(o) - 1] = '1';
      seen = true;
    }
    if (!seen) continue;
    ++animal;
    if (design.slope != 0.0)
      records.push_back({live, 1, x});
    else
      ++folded[live];
  }
  for (const auto& [live, count] : folded) records.push_back({live, count, 0.0});
  return records;
}

double Session_design::survival(int s) const { return 0.8 + 0.05 * std::sin(1.7 * s); }
double Session_design::capture(int s) const { return 0.3 + 0.05 * std::cos(1.1 * s); }

std::vector<Session_record> session_captures(const Session_design& design) {
  Source source(design.seed);
  std::map<std::string, int> folded;
  struct Animal {
    std::string live;
    bool present = true;
  };
  const std::size_t length = static_cast<std::size_t>(design.sessions * design.occasions);
  std::vector<Animal> alive(static_cast<std::size_t>(design.animals), {std::string(length, '0')});
  const auto leave = [&](const Animal& animal) {
    if (animal.live.find('1') != std::string::npos) ++folded[animal.live];
  };
  for (int s = 1; s <= design.sessions; ++s) {
    for (Animal& animal : alive) {
      if (!animal.present) continue;
      for (int o = 0; o < design.occasions; ++o)
        if (source.uniform() < design.capture(s))
          animal.live[static_cast<std::size_t>((s - 1) * design.occasions + o)] = '1';
    }
    std::vector<Animal> next;
    for (Animal& animal : alive) {
      if (s == design.sessions || source.uniform() >= design.survival(s)) {
        leave(animal);
        continue;
      }
      animal.present = source.uniform() >= (animal.present ? design.leaves : design.stays_away);
      next.push_back(animal);
    }
    next.resize(alive.size(), {std::string(length, '0')});
    alive = std::move(next);
  }
  std::vector<Session_record> records;
  for (const auto& [live, count] : folded) records.push_back({live, count});
  return records;
}

std::vector<std::string> strata_captures(const Strata_design& design) {
  Source source(design.seed);
  std::vector<std::string> all;
  for (int k = 0; k < design.animals; ++k) {
    std::string history(static_cast<std::size_t>(design.occasions), '0');
    int a = k % design.strata;
    const auto sign = [&] {
      return design.hidden && source.uniform() < design.uncertain(a) ? 'u' : static_cast<char>('A' + a);
    };
    const int first = k % (design.occasions - 1);
    history[static_cast<std::size_t>(first)] = sign();
    for (int o = first + 1; o < design.occasions; ++o) {
      if (source.uniform() >= design.survival(a)) break;
      double left = source.uniform();
      for (int b = 0; b < design.strata; ++b)
        if (b != a && (left -= design.moves(a, b)) < 0.0) {
          a = b;
          break;
        }
      if (source.uniform() < design.capture(a, o)) history[static_cast<std::size_t>(o)] = sign();
    }
    all.push_back(history);
  }
  return all;
}

std::vector<Site_record> site_surveys(const Site_design& design) {
  Source source(design.seed);
  std::vector<Site_record> records;
  for (int site = 0; site < design.sites; ++site) {
    Site_record record;
    if (design.slope != 0.0) record.covariate = source.normal();
    int animals = 0;
    if (design.counts) {  // by the product of uniform numbers (Knuth 1969)
      const double bound = std::exp(-std::exp(0.7 + design.slope * record.covariate));
      for (double product = source.uniform(); product > bound; product *= source.uniform()) ++animals;
    }
    bool occupied = source.uniform() < 1.0 / (1.0 + std::exp(-0.4 - design.slope * record.covariate));
    for (int s = 0; s < design.seasons; ++s) {
      if (s > 0) occupied = occupied ? source.uniform() >= 0.25 : source.uniform() < 0.2;
      for (int j = 0; j < design.surveys; ++j) {
        int seen = 0;
        const int there = design.counts ? animals : occupied ? 1 : 0;
        for (int animal = 0; animal < there; ++animal)
          seen += source.uniform() < Site_design::detection(j) ? 1 : 0;
        if (design.counts) record.history += static_cast<char>('0' + seen / 10);
        record.history += static_cast<char>('0' + seen % 10);
      }
    }
    records.push_back(record);
  }
  return records;
}

}  // namespace tarn::bench
