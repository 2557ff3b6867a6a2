#pragma once

#include "CommandLine.h"

/// Prints what is wrong in the files of the command line, all of it.
void check(const CommandLine& line);
