#include "job/services/threads.h"

#include <omp.h>

#include <algorithm>

namespace tarn {

int thread_rule(int n, int most) {
  if (n == 0 || n > most) return most;
  return n > 0 ? n : std::max(most + n, 1);
}

void default_threads(Job& job) {
  job.status.num_threads = job.status.num_max_threads = omp_get_max_threads();
}

void set_threads(Job& job, int n) {
  job.status.num_threads = thread_rule(n, job.status.num_max_threads);
  // Told also when all are asked for: the command line may have set fewer before.
  omp_set_num_threads(job.status.num_threads);
}

void tell_threads(Job& job) {
  if (job.status.num_threads < job.status.num_max_threads) omp_set_num_threads(job.status.num_threads);
}

bool tell_dynamic_threads(bool dynamic) {
  omp_set_dynamic(dynamic ? 1 : 0);
  return omp_get_dynamic() != 0;
}

}  // namespace tarn
