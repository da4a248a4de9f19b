#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

/// Moves into an empty folder, once, which goes when the tests end.
void enterScratchFolder();
std::string readFile(const char* path);
void writeFile(const char* path, const std::string& bytes);

/// The statement ends the run, by abort and with these words on standard output.
#define EXPECT_FATAL(statement, words) \
    EXPECT_EXIT((showOutputOnError(), statement), testing::KilledBySignal(6), testing::HasSubstr(words))
void showOutputOnError();
