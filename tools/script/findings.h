#pragma once

#include <string>
#include <vector>

enum class Severity { warning, error };

/// What is wrong with a script and what to do, in the user's language. Lines count from 1; 0 is the script as a whole.
struct Finding {
    int line = 0;
    Severity severity = Severity::error;
    std::string text;
};

inline void addError(std::vector<Finding>& findings, int line, std::string text) {
    findings.push_back({line, Severity::error, std::move(text)});
}

inline void addWarning(std::vector<Finding>& findings, int line, std::string text) {
    findings.push_back({line, Severity::warning, std::move(text)});
}
