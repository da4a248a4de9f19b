#pragma once

/// The global alignment of the current image: every whole degree of the angle range with every shift of the shift
/// range, then a refinement of the angle. Prints the result, appends the image's line to the shift list and replaces
/// the current image by its aligned copy. With an empty angle range only shifts are tried. An angle resolution of 0
/// ends the run.
void searchRotationAndTranslation();
