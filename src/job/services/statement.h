#pragma once
// The statement reader: the deck cut into statements, the statement into words, words into numbers.

#include <span>
#include <string>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// Echoes the statement in hand, then reads the next one into `words`, `wordss`, `lstwrd`.
void getcmd(Job& job);
/// Echoes the statement in hand into listing and screen.
void prtcmd(Job& job);
/// Moves the unread text to the front of the buffer and reads more lines.
void fillsg(Job& job);

/// Word i (from 1) of the statement in hand, upper case; a word that is not there is fatal with the bounds
/// text.
const std::string& word(Job& job, int i);
/// The same word as typed.
const std::string& word_as_typed(Job& job, int i);
/// The raw text of the statement in hand, case and blanks included, terminator included.
std::string_view statement_text(const Job& job);

/// 32-bit integer from a word; "." and foreign characters are fatal.
int ivalue(Job& job, std::string_view word);
/// 64-bit number from a word; "." is missing (-9999), a word that is no number is fatal.
double value(Job& job, std::string_view word);
/// The same where none may be missing: "." is fatal, too.
double given_value(Job& job, std::string_view word);
/// True when the statement in hand ends those of a procedure: PROC, or the word STOP and nothing else.
bool ends_procedure(Job& job);

/// a to z to upper case, A to Z to lower case, in place.
void cvtcas(std::string& s);
void cvtlcas(std::string& s);
/// Copy of s in which a character found in `from` is replaced by the one at the same place in `to`.
std::string translate(std::string_view s, std::string_view from, std::string_view to);
/// Index (from 1) of the first element equal to s, trailing blanks apart; 0 if none.
int findloc_ch(std::span<const Charray> array, std::string_view s);

}  // namespace tarn
