#pragma once

/// The local stage: finds the best shift of each block of the current image against the reference and replaces the
/// current image by one bent accordingly, of the same size and origin. Without room for a block it stays as it is.
void alignBlocks();
