// The statement reader: any bytes, cut into statements and words, every word read as a number.

#include "job/services/statement.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "support/test_job.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tarn;
  Test_job t;
  t.open({reinterpret_cast<const char*>(bytes), size});
  stop_text([&] {
    fillsg(t.job);
    for (getcmd(t.job); !t.job.status.eof || t.job.status.lcmded > 0; getcmd(t.job)) {
      t.job.status.indent = t.job.status.lstwrd % 7 - 3;
      for (int i = 1; i <= t.job.status.lstwrd; ++i) {
        const std::string& text = word(t.job, i);
        if (text.find_first_not_of("-0123456789") == std::string::npos)
          stop_text([&] { ivalue(t.job, text); });
        if (text.find_first_not_of("-+.0123456789EDed") == std::string::npos)
          stop_text([&] { value(t.job, text); });
      }
    }
  });
  return 0;
}
