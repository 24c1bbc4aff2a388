#include <string>
#include <vector>

#include "tools/orvsync/orvsync.h"

int main(int argc, char** argv) { return OrvsyncMain(std::vector<std::string>(argv + 1, argv + argc)); }
