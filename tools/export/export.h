#pragma once

#include <string>

/// How the 8-bit picture to look at is made bright: in a straight line, by the inverse hyperbolic sine, or as the
/// picture needs it.
enum class Stretch { linear, asinh, automatic };

struct ExportOptions {
    std::string sum;     // NAME.sums.fit, one of NAMER.fit, NAMEV.fit and NAMEB.fit, NAME.bmp, or NAME alone
    std::string output;  // the pictures' path up to their endings; empty: NAME, beside the sum
    Stretch stretch = Stretch::automatic;
    bool cropCommon = false;  // cut to the largest rectangle that every frame reaches
    bool force = false;       // replace files that are there
    bool silent = false;      // nothing on standard output
};

/// Writes OUTPUT.fits, OUTPUT.tif, OUTPUT16.png and OUTPUT.png. Returns the status: 0 all written, 1 written from sums
/// that do not say how many frames reach a place, so that its borders may be dark, 2 nothing written.
[[nodiscard]] int exportSum(const ExportOptions& options);
