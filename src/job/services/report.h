#pragma once
// The paged listing: page header, line reservation, section headings, numbers in their fixed form, progress.

#include <string>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// New page: header with version, date, time, page number and title.
void headng(Job& job);

/// Reserves n lines; starts a page when fewer are left. No effect with paging off.
void linchk(Job& job, int n);

/// Writes lines of a listing, parted by "\n", and reserves each.
void put_lines(Job& job, std::string_view text);

/// Writes lines that belong together, and reserves them in one piece with the `further` lines that follow
/// them. More lines than a page holds are reserved one by one, the `further` ones behind them.
void put_block(Job& job, std::string_view text, int further = 0);

/// PROC TITLE: takes the title from the statement in hand and reads the next statement.
void title(Job& job);

/// Writes `text` centred in `width` columns, `skip` (0 to 9) line ends before it unless it opens a page.
/// Reserves no lines.
void sectionhead(Job& job, std::string_view text, int width, int skip);

/// A number in the 14 columns of every table, with `prt_digits` digits.
std::string f14(const Job& job, double x);

/// The same without the blanks, for sentences.
std::string digits_of(const Job& job, double x);

/// A count for an integer field; what no integer holds is cut, what is no number is 0.
long long whole(double count);

/// Shortest decimal text of an integer.
std::string adjustfmt(long long n);

/// Progress text on the screen; each call overwrites the one before.
void outtext(Job& job, std::string_view text);

}  // namespace tarn
