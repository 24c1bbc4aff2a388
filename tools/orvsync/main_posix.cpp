#include <string>
#include <vector>

#include "tools/orvsync/orvsync.h"

using namespace orv;

int main(int argc, char** argv) { return OrvsyncMain(std::vector<std::string>(argv + 1, argv + argc)); }
