// orvsync: the update engine on a terminal, for operators, QA and end-to-end tests.
#pragma once

#include <string>
#include <vector>

namespace orv {

// Runs the command line (arguments after the program name, UTF-8). Returns the exit code:
// 0 "pronto" (or "reiniciar"), 1 "desatualizado", 2 "erro" or "parado", 64 for a usage error.
int OrvsyncMain(const std::vector<std::string>& args);

}  // namespace orv
