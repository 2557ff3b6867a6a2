#pragma once

#include <string>

/// The path of the program `name` ("dot") in the folders of PATH; empty when none of them has it.
std::string findProgram(const std::string& name);

/// Runs the program at `path` with one argument, no shell between: `input` is its standard input,
/// what it writes to standard output goes behind `output`; its errors are shown as ours are. False
/// when it cannot be started, does not take all of its input, or ends with another status than 0.
///
/// `argument` has neither blanks nor quotes, so that no platform needs to quote it. On Windows
/// `path` is in the process's ANSI code page, as the arguments of `main` are.
bool runProgram(const std::string& path, const std::string& argument, const std::string& input,
                std::string& output);
