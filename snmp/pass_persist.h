// The subtree for snmpd's pass_persist: questions as lines on standard input, answers on standard output.
#pragma once

#include <istream>
#include <ostream>
#include <string>

// Serves until the input ends.
void pass_persist(const std::string &socket, std::istream &in, std::ostream &out);
