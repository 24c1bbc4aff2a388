// orvpack: the publisher a studio runs on its build machine.
#pragma once

#include <string>
#include <vector>

namespace orv {

// Runs the command line (arguments after the program name, UTF-8); returns the exit code
// (0 success, 1 failure, 64 usage error).
int OrvpackMain(const std::vector<std::string>& args);

}  // namespace orv
