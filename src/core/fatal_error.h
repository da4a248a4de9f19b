#pragma once

/// Ends every fatal error, after the caller has printed its own message: the two closing lines, a wait for one key,
/// abort. Standard output is flushed before the wait, since abort loses what is still buffered.
[[noreturn]] void fatalError();

/// The fatal error of memory that cannot be had, or of a size that no memory could hold.
[[noreturn]] void stopForMemory();
