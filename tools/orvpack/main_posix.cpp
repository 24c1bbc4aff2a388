#include <string>
#include <vector>

#include "tools/orvpack/orvpack.h"

using namespace orv;

int main(int argc, char** argv) { return OrvpackMain(std::vector<std::string>(argv + 1, argv + argc)); }
