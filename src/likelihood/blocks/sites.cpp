#include "likelihood/blocks/sites.h"

#include <string>
#include <unordered_map>

#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"

namespace tarn {

Site_records::Site_records(const Job& job, int states, std::string_view of_states)
    : Hidden_records(job, {.sites = true, .states = states}) {
  if (periods() != 1 || !reals_depend_on_record(job.model)) return;
  const std::vector<char> varying = rows_by_record(job.model);
  surveys_shared_.assign(static_cast<std::size_t>(job.status.ngrps), 1);
  for_each_matrix(job, [&](const Pim_place& at, const Pim& matrix) {
    if (names_hold(of_states, job.data.parameterlist(at.q))) return;
    for (const int number : matrix.cells)
      if (number >= 1 && number <= job.model.nlogit && varying[static_cast<std::size_t>(number) - 1] != 0)
        surveys_shared_[static_cast<std::size_t>(at.g) - 1] = 0;
  });
  std::unordered_map<std::string, int> numbers;
  for (int i = 1; i <= job.data.encounters.size(); ++i)
    pattern_of_.push_back(
        facts_of(history(i)).last_sampled == 0
            ? -1
            : numbers.emplace(std::string(history(i).text()), static_cast<int>(numbers.size()))
                  .first->second);
  patterns_ = numbers.size();
}

}  // namespace tarn
