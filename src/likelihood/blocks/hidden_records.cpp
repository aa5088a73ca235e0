#include "likelihood/blocks/hidden_records.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "data/sessions.h"
#include "likelihood/blocks/samplings.h"
#include "model/structure/design.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

/// Whether the rows r and s of a matrix hold the same as far as they are read behind a first capture in
/// period `first`. Columns that count back from the last period begin further left the fewer they are, and
/// the last one may serve all that follow.
bool rows_alike(const Pim_view& matrix, int r, int s, int first, int periods) {
  const int a = matrix.row_read(r), b = matrix.row_read(s);
  if (a == b) return true;
  if (std::max(a, b) > matrix.nrows) return false;
  const bool few = matrix.ncols < periods - 1;
  if (few && !matrix.square) return false;
  for (int c = few ? 1 : std::min(first, matrix.ncols); c <= matrix.ncols; ++c)
    if (matrix.row(a)[c] != matrix.row(b)[c]) return false;
  return true;
}

}  // namespace

/// Numbers of texts, and of tails, while records are told apart.
struct Hidden_records::Numbers {
  std::unordered_map<std::string, int> starts, shown;
  std::map<std::pair<int, int>, int> tails;  ///< of what is shown, and of the tail behind it

  static int of(std::unordered_map<std::string, int>& numbers, const std::string& text,
                std::vector<Hidden_example>& examples, const Hidden_example& example) {
    const auto [place, is_new] = numbers.emplace(text, static_cast<int>(examples.size()));
    if (is_new) examples.push_back(example);
    return place->second;
  }
};

Hidden_records::Hidden_records(const Job& job, Hidden_study study)
    : study_(std::move(study)), states_(study_.states > 0 ? study_.states : job.status.nstrta) {
  if (study_.sites)
    for (const Primary_session& season : closed_sessions(job)) ends_.push_back(season.last());
  else if (study_.sessions)
    for_each_session(job, [&](int, const Primary_session& session) { ends_.push_back(session.last()); });
  else
    for (int o = 1; o <= job.status.noccas; ++o) ends_.push_back(o);
  const Encounter_store& encounters = job.data.encounters;
  if (encounters.size() == 0) return;
  cells_ = encounters.history(1).cells();
  stride_ = 2 * static_cast<std::size_t>(job.status.noccas);
  facts_.reserve(static_cast<std::size_t>(encounters.size()));
  for (int i = 1; i <= encounters.size(); ++i) facts_.push_back(facts_of(encounters.history(i)));
  if (reals_depend_on_record(job.model) || (study_.sites && !seasons_repeat())) return;
  find_classes(job);
  find_leaves(job);
  sort_leaves();
}

Hidden_facts Hidden_records::facts_of_site(History histry) const {
  Hidden_facts facts;
  facts.first = 1;
  for (int period = 1; period <= periods(); ++period)
    for (int o = first_occasion(period); o <= last_occasion(period); ++o) {
      if (!surveyed(histry, o)) continue;
      facts.last_sampled = period;
      if (detected(histry, o)) {
        facts.last_caught = period;
        facts.last_met = period - 1;
      }
    }
  return facts;
}

/// Whether tables of what a season shows are worth their room: there are several seasons, and many sites show
/// the same in one.
bool Hidden_records::seasons_repeat() const {
  if (periods() == 1) return false;
  std::unordered_set<std::string> different;
  for (std::size_t i = 1; i <= facts_.size(); ++i)
    for (int period = 1; period <= periods(); ++period)
      different.insert(std::to_string(period) + ' ' +
                       cells_text(history(static_cast<int>(i)), period, last_occasion(period)));
  return 2 * different.size() <= facts_.size() * static_cast<std::size_t>(periods());
}

Hidden_facts Hidden_records::facts_of(History histry) const {
  if (study_.sites) return facts_of_site(histry);
  Hidden_facts facts;
  for (int period = 1; period <= periods(); ++period)
    for (int o = first_occasion(period); o <= last_occasion(period); ++o) {
      const char live = histry.live(o);
      if (live != '.') facts.last_sampled = period;
      if (captured(live)) {
        if (facts.first == 0) facts.first = period;
        facts.last_caught = period;
        facts.last_met = period - 1;
      }
      if (!study_.two_characters || facts.first == 0 || histry.dead(o) == '0') continue;
      facts.last_met = period;
      if (facts.ended == 0 && study_.ends(histry.dead(o))) facts.ended = period;
    }
  return facts;
}

int Hidden_records::last_interval(const Hidden_facts& facts, bool lost) const {
  if (lost) return facts.last_caught - 1;
  if (facts.ended > 0) return facts.ended;
  if (study_.two_characters) return periods();
  return study_.sessions || study_.sites ? periods() - 1 : facts.last_sampled - 1;
}

void Hidden_records::find_classes(const Job& job) {
  const int groups = job.status.ngrps;
  class_at_.assign(static_cast<std::size_t>(groups * periods()), -1);
  const std::vector<char> present = cohorts_with_animals(
      job, periods(), [&](int i) { return facts_[static_cast<std::size_t>(i) - 1].first; });
  const auto place = [&](int j, int first) {
    return static_cast<std::size_t>((j - 1) * periods() + first - 1);
  };
  const auto alike = [&](int j, int first, int other) {
    if (row(first) == row(other)) return true;
    bool same = true;
    for_each_matrix(job, [&](const Pim_place& at, const Pim& matrix) {
      if (same && at.g == j && matrix.nrows > 1)
        same = rows_alike(Pim_view(matrix), row(first), row(other), first, periods());
    });
    return same;
  };
  for (int j = 1; j <= groups; ++j)
    for (int first = 1; first <= periods(); ++first) {
      if (!present[place(j, first)]) continue;
      // A cohort is like the last one before it with animals; else it is new.
      int before = first - 1;
      while (before > 0 && !present[place(j, before)]) --before;
      int own = before > 0 ? class_at_[place(j, before)] : -1;
      if (own >= 0 && !alike(j, first, classes_[static_cast<std::size_t>(own)].first)) own = -1;
      if (own < 0) {
        own = static_cast<int>(classes_.size());
        classes_.push_back({j, first});
      }
      class_at_[place(j, first)] = own;
    }
}

std::string Hidden_records::cells_text(History histry, int period, int last_counted) const {
  std::string text;
  for (int o = first_occasion(period); o <= last_occasion(period); ++o) {
    if (!study_.sites) {
      text += o <= last_counted ? histry.live(o) : '.';
    } else if (surveyed(histry, o)) {
      text += histry.live(o);
      text += histry.dead(o);
    } else {
      text += "..";
    }
  }
  return text;
}

/// The number of what interval c of a record shows, up to an occasion.
int Hidden_records::shown_by(int i, int c, int last_counted, bool removed, Numbers& numbers) {
  const History histry = history(i);
  std::string text = std::to_string(c) + ' ';
  if (study_.two_characters) text += histry.dead(c);
  if (c < periods()) text += cells_text(histry, c + 1, last_counted);
  return Numbers::of(numbers.shown, text, shown_, {c, i, removed});
}

/// The number of a record's tail from one interval to another; -1 when there is none.
int Hidden_records::tail_of(int i, int from, int to, Numbers& numbers) {
  int next = -1;
  for (int c = to; c >= from; --c) {
    const int shown = shown_by(i, c, last_occasion(periods()), false, numbers);
    const auto [place, is_new] =
        numbers.tails.emplace(std::pair(shown, next), static_cast<int>(tails_.size()));
    if (is_new) tails_.push_back({c, shown, next});
    next = place->second;
  }
  return next;
}

/// @param to_the_end  steps up to the last interval that counts, and no tail
Hidden_path Hidden_records::path_of(int i, bool lost, bool to_the_end, Numbers& numbers) {
  const Hidden_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
  const History histry = history(i);
  // What a removed animal shows differs in its last period, and only where that goes on.
  const int all = last_occasion(periods()), last_counted = lost ? lastlc(histry) : all;
  const bool cut = lost && last_counted < last_occasion(facts.last_caught),
             cut_at_start = cut && facts.first == facts.last_caught;
  const int behind = last_interval(facts, lost),
            last = lost || facts.ended > 0 || to_the_end ? behind : facts.last_met;
  std::string text = std::to_string(facts.first) + ' ' + cells_text(histry, facts.first, last_counted);
  if (study_.whole_study) text += ' ' + text_of_sampling(histry, 1);
  // Of a removed animal also what was sampled behind its last capture.
  if (study_.sessions && cut_at_start) text += ' ' + cells_text(histry, facts.first, all);
  Hidden_path path;
  path.start = Numbers::of(numbers.starts, text, starts_, {facts.first, i, cut_at_start});
  path.steps = steps_.size();
  for (int c = facts.first; c <= last; ++c)
    steps_.push_back(shown_by(i, c, last_counted, cut && c + 1 == facts.last_caught, numbers));
  path.count = std::max(last - facts.first + 1, 0);
  path.ends = lost || facts.ended > 0 || to_the_end;
  if (!path.ends) path.tail = tail_of(i, std::max(last, facts.first - 1) + 1, behind, numbers);
  return path;
}

void Hidden_records::find_leaves(const Job& job) {
  const int records = static_cast<int>(facts_.size());
  Numbers numbers;
  counted_.assign(facts_.size(), 0);
  paths_.resize(2 * facts_.size());
  Samplings samplings;
  for (int i = 1; i <= records; ++i)
    if (const int first = facts_[static_cast<std::size_t>(i) - 1].first; first > 0)
      samplings.add(i, text_of_sampling(history(i), study_.whole_study ? 1 : first_occasion(first)), first);
  samplings.number_them();
  for (int i = 1; i <= records; ++i) {
    const Hidden_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    // Tables of what few records share would take more room than they save time: tails, and what a session or
    // a whole study shows. What an occasion shows is little.
    const bool own_sampling = samplings.of(i) < 0;
    if (facts.first == 0 || (own_sampling && (study_.sessions || study_.whole_study))) continue;
    counted_[static_cast<std::size_t>(i) - 1] = 1;
    if (study_.sites && facts.last_sampled == 0) continue;  // says nothing
    for (const bool lost : {false, true}) {
      Hidden_path& path = paths_[2 * (static_cast<std::size_t>(i) - 1) + (lost ? 1 : 0)];
      for (int j = 1; j <= job.status.ngrps; ++j) {
        const Cohort_animals animals = Cohort_animals::of(job, i, j);
        const double count = study_.sites ? (lost ? 0.0 : animals.all())
                             : lost       ? animals.lost
                                          : animals.observed;
        if (!(count > 0.0)) continue;
        if (path.start < 0) path = path_of(i, lost, own_sampling, numbers);
        Hidden_leaf leaf{path};
        leaf.of_class = class_of(j, facts.first);
        leaf.certain = study_.certain_start && path.count == 0 && path.tail < 0;
        leaf.animals = count;
        leaves_.push_back(leaf);
      }
    }
  }
}

void Hidden_records::sort_leaves() {
  const auto steps = [&](const Hidden_leaf& leaf) {
    return std::span(steps_of(leaf), static_cast<std::size_t>(leaf.count));
  };
  const auto root = [](const Hidden_leaf& leaf) { return std::pair(leaf.of_class, leaf.start); };
  std::sort(leaves_.begin(), leaves_.end(), [&](const Hidden_leaf& a, const Hidden_leaf& b) {
    if (root(a) != root(b)) return root(a) < root(b);
    const auto x = steps(a), y = steps(b);
    const auto [p, q] = std::mismatch(x.begin(), x.end(), y.begin(), y.end());
    if (p != x.end() && q != y.end()) return *p < *q;
    if (x.size() != y.size()) return x.size() < y.size();
    return std::tuple(a.ends, a.tail) < std::tuple(b.ends, b.tail);
  });
  const auto shared = [&](const Hidden_leaf& a, const Hidden_leaf& b) {
    if (root(a) != root(b)) return -1;
    const auto x = steps(a), y = steps(b);
    return static_cast<int>(std::mismatch(x.begin(), x.end(), y.begin(), y.end()).first - x.begin());
  };
  add_up_alike(leaves_, [&](const Hidden_leaf& a, const Hidden_leaf& b) {
    return shared(a, b) == a.count && a.count == b.count && a.ends == b.ends && a.tail == b.tail;
  });
  for (std::size_t k = 1; k < leaves_.size(); ++k) leaves_[k].shared = shared(leaves_[k - 1], leaves_[k]);
}

}  // namespace tarn
