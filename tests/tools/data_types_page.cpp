// Writes docs/data-types.md on the standard output.

#include <iostream>

#include "support/data_types_page.h"

int main() { std::cout << tarn::data_types_page(); }
