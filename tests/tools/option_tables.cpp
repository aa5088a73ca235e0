// Reads docs/deck.md on the standard input and writes it with its option tables made anew.

#include <iostream>
#include <iterator>
#include <string>

#include "support/option_tables.h"

int main() {
  const std::string page(std::istreambuf_iterator<char>(std::cin), {});
  std::cout << tarn::with_option_tables(page);
}
