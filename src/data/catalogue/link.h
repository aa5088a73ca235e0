#pragma once
// The links: how a linear predictor becomes a real parameter.

#include <array>
#include <string_view>

namespace tarn {

/// Link of a model (`nlink`) or of one real parameter (`lindex`); its number is the link's code.
enum class Link : int {
  none = 0,  ///< no link is known by the name that was given
  logit = 1,
  loglog = 2,
  cloglog = 3,
  sin = 4,
  log = 5,
  identity = 6,
  parm_specific = 7,  ///< of a model only: the LINKS statement gives each real parameter its own
  mlogit = 8,
  clogit = 9,
  absolute = 10,
  cauchy = 11,
  sumratio = 12
};

/// Names of the links by code 1 to 12; table and keywords of LINK= and LINKS.
inline constexpr std::array<const char*, 12> link_names{"LOGIT",  "LOGLOG",   "CLOGLOG",       "SIN",
                                                        "LOG",    "IDENTITY", "PARM-SPECIFIC", "MLOGIT",
                                                        "CLOGIT", "ABSOLUTE", "CAUCHY",        "SUMRATIO"};

/// Name of a link; empty for none.
constexpr std::string_view link_name(Link link) {
  const auto code = static_cast<std::size_t>(link);
  return code >= 1 && code <= link_names.size() ? link_names[code - 1] : std::string_view();
}

/// Link of a name (upper case); `Link::none` when there is no such link.
constexpr Link link_of(std::string_view name) {
  for (std::size_t k = 0; k < link_names.size(); ++k)
    if (link_names[k] == name) return static_cast<Link>(k + 1);
  return Link::none;
}

/// True for the links whose values lie between 0 and 1.
constexpr bool is_confined(Link link) {
  return link != Link::log && link != Link::identity && link != Link::absolute;
}

/// True for the links that tie the real parameters of a set together.
constexpr bool links_a_set(Link link) {
  return link == Link::mlogit || link == Link::clogit || link == Link::sumratio;
}

}  // namespace tarn
