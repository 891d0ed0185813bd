// SPDX-License-Identifier: BSD-2-Clause
// The files that the walks and checks of an input are let loose on.

#ifndef ZEM_FUZZ_SMALL_TREE_H_
#define ZEM_FUZZ_SMALL_TREE_H_

namespace zem {

// Puts "/tree" into memory (see memory_tree.h) and freezes it.
void PutSmallTree();

}  // namespace zem

#endif  // ZEM_FUZZ_SMALL_TREE_H_
