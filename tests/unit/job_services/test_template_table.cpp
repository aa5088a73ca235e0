// Compares the interpreter of the template notation with the texts of an independent Fortran run-time.

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "job/services/template.h"

namespace tarn {
namespace {

struct Entry {
  std::string layout, items, text;
};

std::vector<Entry> read_table() {
  std::ifstream file(TARN_TEST_DATA "/template_table.txt");
  std::vector<Entry> entries;
  std::string line;
  while (std::getline(file, line)) {
    Entry entry;
    entry.layout = line.substr(2);
    std::getline(file, line);
    entry.items = line.substr(2);
    bool first = true;
    while (std::getline(file, line) && line != "@E") {
      if (!first) entry.text += '\n';
      entry.text += line;
      first = false;
    }
    entries.push_back(entry);
  }
  return entries;
}

/// The items of an entry; `keep` holds what the items refer to.
std::vector<Item> items_of(const std::string& text, std::vector<std::string>& keep) {
  std::vector<Item> items;
  keep.clear();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\t', at + 1), text.size());
    keep.push_back(text.substr(at + 1, end - at - 1));
    at = end;
  }
  for (const std::string& word : keep) {
    const char* const first = word.data() + 1;
    const char* const last = word.data() + word.size();
    if (word[0] == 'i') {
      std::int64_t number = 0;
      EXPECT_EQ(std::from_chars(first, last, number).ptr, last);
      items.push_back(detail::make_item(number));
    } else if (word[0] == 'f') {
      std::uint64_t bits = 0;
      EXPECT_EQ(std::from_chars(first, last, bits, 16).ptr, last);
      items.push_back(detail::make_item(std::bit_cast<double>(bits)));
    } else if (word[0] == 'l') {
      items.push_back(detail::make_item(word[1] == 'T'));
    } else {
      items.push_back(detail::make_item(std::string_view(word).substr(1)));
    }
  }
  return items;
}

TEST(Template_table, every_entry_gives_the_text_of_the_fortran_run_time) {
  const std::vector<Entry> entries = read_table();
  ASSERT_GE(entries.size(), 3000u);
  std::vector<std::string> keep;
  for (const Entry& entry : entries) {
    const std::vector<Item> items = items_of(entry.items, keep);
    ASSERT_FALSE(scan(entry.layout, nullptr, items.size()).bad()) << entry.layout;
    EXPECT_EQ(detail::format_items(entry.layout, items), entry.text) << entry.layout << " of" << entry.items;
  }
}

}  // namespace
}  // namespace tarn
