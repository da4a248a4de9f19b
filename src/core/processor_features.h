#pragma once

// The vector instructions that this processor offers beyond those that every processor of its family has. Hot
// calculations have a version for each, with the same bits. False on other families.

/// AVX2 with FMA.
[[nodiscard]] bool hasAvx2();

/// AVX-512 with its F, BW, DQ and VL parts.
[[nodiscard]] bool hasAvx512();

/// The same with VNNI.
[[nodiscard]] bool hasAvx512Vnni();
