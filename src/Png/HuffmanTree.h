// SPDX-License-Identifier: MIT
#ifndef ORVEX_PNG_HUFFMANTREE_H
#define ORVEX_PNG_HUFFMANTREE_H

#include <ORVEX/Png.h>

#pragma GCC visibility push(hidden)
namespace ORVEX {
namespace Internal {

/// A tree of codes that is released at the end of its scope, however that ends.
class HuffmanTree {
public:
    HuffmanTree() = default; ///< No tree.
    ~HuffmanTree() { Clear(); }
    HuffmanTree(const HuffmanTree&) = delete;
    HuffmanTree& operator=(const HuffmanTree&) = delete;

    /// Builds the tree of `n` codes instead of the tree so far; as ZrPngUncompressor's.
    void Make(unsigned int n, const unsigned int* lengths, const unsigned int* codes);

    void Clear(); ///< Releases the tree.

    ZrPngHuffmanTree* Root() const { return root; } ///< Null when there is no tree.

    /// Gives the tree to the caller.
    ZrPngHuffmanTree* HandOver()
    {
        ZrPngHuffmanTree* const tree = root;
        root = nullptr;
        return tree;
    }

private:
    ZrPngHuffmanTree* root = nullptr; // owned
};

/// Releases a tree; null is a tree of nothing.
void DeleteHuffmanTree(ZrPngHuffmanTree* root);

} // namespace Internal
} // namespace ORVEX
#pragma GCC visibility pop

#endif
