#pragma once

#include <fitsio.h>

#include <memory>
#include <string>

struct FitsCloser {
    void operator()(fitsfile* file) const {
        int status = 0;
        fits_close_file(file, &status);
    }
};
using FitsHandle = std::unique_ptr<fitsfile, FitsCloser>;

/// CFITSIO's words for a status.
[[nodiscard]] inline std::string describeFitsStatus(int status) {
    char text[FLEN_STATUS] = "";
    fits_get_errstatus(status, text);
    return text;
}
