#pragma once

#include <functional>
#include <string>

/// Times two ways of doing the same work, in turn, and prints the medians and how many times faster the second one is:
/// "what   first ms   second ms   ratio x".
void compareTimes(const std::string& what, const std::function<void()>& plain, const std::function<void()>& fast);

/// The same, printing how many times as long the second one takes.
void compareToFloor(const std::string& what, const std::function<void()>& floor, const std::function<void()>& work);

/// Ends the program when two results that must be equal are not.
void expectEqual(const std::string& what, bool equal);

/// Runs with standard output sent away, as the stages report their progress there.
void runSilently(const std::function<void()>& work);
