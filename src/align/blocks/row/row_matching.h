#pragma once

#include "align/blocks/block_search.h"
#include "align/blocks/row/row_group.h"
#include "imageio/image.h"

/// The matches of a whole row of the layout, one a block. A block whose search area would leave the reference gets
/// unmatchedBlockScore and no shift. Neighbours share their work where they can.
void matchBlockRow(GroupWork& work, const BlockSearch& search, const Image& current, const Image& reference,
                   const BlockGroup& row, BlockMatch* matches);
