#pragma once

#include <CLI/CLI.hpp>

#include "measure/prepare.h"

/// The options that prepare and stack have in common; options lives as long as the command.
void addSeriesOptions(CLI::App& command, PrepareOptions& options);
