#pragma once
// The one record of a job. `main` owns it and hands it down by reference; the parallel region sees it const.

#include "job/status_module.h"
#include "job/streams/streams.h"
#include "job/timing_module.h"
#include "model/data_module.h"

namespace tarn {

struct Job {
  Status_module status;
  Timing_module timing;
  Data_module data;
  Model_arrays model;
  Streams streams;
};

}  // namespace tarn
