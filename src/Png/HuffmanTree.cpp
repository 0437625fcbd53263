// SPDX-License-Identifier: MIT
#include "HuffmanTree.h"

#include <cstddef>

std::int32_t ZrPngHuffmanTree::leakTracker = 0;

ZrPngHuffmanTree::ZrPngHuffmanTree() { __atomic_fetch_add(&leakTracker, 1, __ATOMIC_RELAXED); }

ZrPngHuffmanTree::~ZrPngHuffmanTree() { __atomic_fetch_sub(&leakTracker, 1, __ATOMIC_RELAXED); }

namespace ORVEX {
namespace Internal {

void HuffmanTree::Make(unsigned int n, const unsigned int* lengths, const unsigned int* codes)
{
    Clear();
    root = new ZrPngHuffmanTree;
    for (unsigned int symbol = 0; symbol < n; ++symbol) {
        if (lengths[symbol] == 0)
            continue;
        // A code's first bit is its most significant one.
        ZrPngHuffmanTree* node = root;
        for (std::uint32_t bit = 1u << (lengths[symbol] - 1); bit != 0; bit >>= 1) {
            ZrPngHuffmanTree*& next = codes[symbol] & bit ? node->one : node->zero;
            if (!next)
                next = new ZrPngHuffmanTree;
            node = next;
        }
        // Codes that clash are not noticed; the last one stays.
        node->value = symbol;
    }
}

void HuffmanTree::Clear()
{
    DeleteHuffmanTree(root);
    root = nullptr;
}

// As deep as the longest code is long.
void DeleteHuffmanTree(ZrPngHuffmanTree* root)
{
    if (!root)
        return;
    DeleteHuffmanTree(root->zero);
    DeleteHuffmanTree(root->one);
    delete root;
}

} // namespace Internal
} // namespace ORVEX
