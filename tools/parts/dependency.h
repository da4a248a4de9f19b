#pragma once

#include <string>

/// Why the images of the list in the run state must be processed one after another: what one of them writes, or the run
/// at its end, is read or written by another (files compared as such, not as names), or is a pipe or a device. Nothing:
/// each can be processed by itself, again and in any order.
[[nodiscard]] std::string findDependency();
