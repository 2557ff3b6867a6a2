#pragma once

#include "CommandLine.h"

/// Runs the command that `line` asks for; throws a `Failure` when it cannot be done.
void runCommand(const CommandLine& line);
