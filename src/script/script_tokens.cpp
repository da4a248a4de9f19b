#include "script/script_tokens.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

char* takeCommandWord(char* line) {
    return std::strtok(line, " :");
}

char* takeArgument() {
    return std::strtok(nullptr, ", \n");
}

int32_t parseInteger(const char* text) {
    return static_cast<int32_t>(std::clamp(std::strtoll(text, nullptr, 10), -2147483647LL, 2147483647LL));
}

float parseDecimal(const char* text) {
    return static_cast<float>(std::strtod(text, nullptr));
}
