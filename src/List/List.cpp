// SPDX-License-Identifier: MIT
#include <ORVEX/List.h>

namespace ORVEX {

ListBase::ListBase() { FitLink(&front, &back); }

void ListBase::FitLink(NodeLink* a, NodeLink* b)
{
    a->next = b;
    b->prev = a;
}

void ListBase::InsertBack(NodeLink* pos, NodeLink* node)
{
    NodeLink* const oldNext = pos->next;
    FitLink(pos, node);
    FitLink(node, oldNext);
}

void ListBase::InsertFront(NodeLink* pos, NodeLink* node)
{
    NodeLink* const oldPrev = pos->prev;
    FitLink(node, pos);
    FitLink(oldPrev, node);
}

void ListBase::PushFront(NodeLink* node) { InsertBack(&front, node); }

void ListBase::PushBack(NodeLink* node) { InsertFront(&back, node); }

void ListBase::Erase(NodeLink* node)
{
    FitLink(node->prev, node->next);
    node->next = nullptr;
    node->prev = nullptr;
}

bool ListBase::PopFront(NodeLink** out)
{
    if (Empty())
        return false;
    *out = front.next;
    Erase(*out);
    return true;
}

bool ListBase::PopBack(NodeLink** out)
{
    if (Empty())
        return false;
    *out = back.prev;
    Erase(*out);
    return true;
}

void ListBase::SwapThisIsEmpty(ListBase& other)
{
    // When `other` is empty as well, the second line joins this list's own sentinels again.
    FitLink(&front, other.front.next);
    FitLink(other.back.prev, &back);
    FitLink(&other.front, &other.back);
}

void ListBase::Swap(ListBase& other)
{
    if (Empty()) {
        SwapThisIsEmpty(other);
    } else if (other.Empty()) {
        other.SwapThisIsEmpty(*this);
    } else {
        ListBase temporary;
        temporary.SwapThisIsEmpty(*this);
        SwapThisIsEmpty(other);
        other.SwapThisIsEmpty(temporary);
    }
}

} // namespace ORVEX
