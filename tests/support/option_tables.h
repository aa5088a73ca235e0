#pragma once
// The option tables of docs/deck.md, made from those that the procedures read by.

#include <span>
#include <string>

#include "data/data_options.h"
#include "model/estimate_options.h"

namespace tarn {

inline std::string option_table(std::span<const Option_text> options) {
  std::string table = "| option | range | default | meaning |\n|---|---|---|---|\n";
  for (const Option_text& option : options)
    table +=
        "| `" + option.option + "` | " + option.range + " | " + option.preset + " | " + option.help + " |\n";
  return table;
}

/// The page with what stands between "<!-- options of NAME -->" and "<!-- end of options -->" made anew.
inline std::string with_option_tables(std::string page) {
  const auto renew = [&page](const std::string& procedure, std::span<const Option_text> options) {
    const std::string begin = "<!-- options of " + procedure + " -->\n", end = "<!-- end of options -->\n";
    const std::size_t from = page.find(begin), to = page.find(end, from);
    if (from == std::string::npos || to == std::string::npos) return;
    page.replace(from, to - from, begin + option_table(options));
  };
  renew("PROC CHMATRIX", chmatrix_option_texts());
  renew("PROC ESTIMATE", estimate_option_texts());
  return page;
}

}  // namespace tarn
