#include "parts/console_text.h"

#include <cstddef>

namespace {

bool isContinuation(const std::string& text, size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

// The length of the UTF-8 sequence of more than one byte that begins there; 0: none does.
size_t measureSequence(const std::string& text, size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                          : lead >= 0xE0 && lead <= 0xEF ? 3
                          : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                         : 0;
    for (size_t i = 1; i < length; ++i) {
        if (!isContinuation(text, at + i)) return 0;
    }
    return length;
}

const char* convertLetter(char letter) {
    switch (static_cast<unsigned char>(letter)) {
        case 0x88:
            return "\u00E0";
        case 0x8E:
            return "\u00E9";
        case 0x90:
            return "\u00EA";
        default:
            return nullptr;
    }
}

}  // namespace

std::string convertConsole(const std::string& console) {
    std::string text;
    for (size_t at = 0; at < console.size();) {
        const size_t length = measureSequence(console, at);
        const char* letter = length > 0 ? nullptr : convertLetter(console[at]);
        if (letter != nullptr) {
            text += letter;
        } else {
            text.append(console, at, length > 0 ? length : 1);
        }
        at += length > 0 ? length : 1;
    }
    return text;
}
