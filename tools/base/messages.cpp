#include "base/messages.h"

#include <libintl.h>

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <filesystem>

namespace {

// Found from where the program lies, so that it may be installed, and moved, anywhere.
std::filesystem::path findTranslations() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const std::filesystem::path built = folder / "locale";  // in the folder of a build
    return is_directory(built, error) ? built : folder / QUILLORNE_LOCALE_FOLDER;
}

}  // namespace

void chooseLanguage() {
    std::setlocale(LC_MESSAGES, "");
    std::setlocale(LC_CTYPE, "");
    bindtextdomain("quillorne-tools", findTranslations().c_str());
    bind_textdomain_codeset("quillorne-tools", "UTF-8");
    textdomain("quillorne-tools");
}

const char* tr(const char* text) {
    return gettext(text);
}

void printNotice(const char* pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    std::vfprintf(stderr, pattern, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}

void printError(const char* pattern, ...) {
    std::fputs(tr("error: "), stderr);
    va_list arguments;
    va_start(arguments, pattern);
    std::vfprintf(stderr, pattern, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}
