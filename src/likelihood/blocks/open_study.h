#pragma once
// What the routines of open populations share whose histories need no more than the general facts.

#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell/history_facts.h"

namespace tarn {

struct Open_study {
  using Prepared = Record_facts<History_facts>;
  template <class Real>
  struct Kept {
    Power_memo powers;
    History_facts made_up;
  };
};

}  // namespace tarn
