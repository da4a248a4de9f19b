#include "base/messages.h"

#include <libintl.h>

#include <clocale>
#include <cstdarg>
#include <cstdio>

void chooseLanguage() {
    std::setlocale(LC_MESSAGES, "");
    std::setlocale(LC_CTYPE, "");
    bindtextdomain("quillorne-tools", QUILLORNE_LOCALE_FOLDER);
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
