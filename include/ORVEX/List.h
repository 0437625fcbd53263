// SPDX-License-Identifier: MIT
#ifndef ORVEX_LIST_H
#define ORVEX_LIST_H

namespace ORVEX {

/// A doubly linked list of links, with a sentinel link of its own at each end.
///
/// Moves links only: it allocates nothing and owns no node. A node is in one list at a time and
/// must stay where it is while it is in one. One thread at a time. Every operation takes constant
/// time and none raises. Invariant: the list is empty exactly when the front sentinel's next
/// is the back sentinel; the front sentinel's prev and the back sentinel's next are null.
class ListBase {
public:
    /// What makes an object a node: its places in the list. Both are null while it is in none.
    struct NodeLink {
        NodeLink* next = nullptr; ///< The link behind; null in the back sentinel.
        NodeLink* prev = nullptr; ///< The link in front; null in the front sentinel.
    };

    /// A position in a list: one of its nodes, or the end behind the last.
    class Iterator {
    public:
        Iterator() = default;                                     ///< Denotes no node.
        explicit Iterator(NodeLink* position) : link(position) {} ///< Denotes that link.

        NodeLink* Link() const { return link; } ///< The link; the back sentinel at the end.

        /// To the next node.
        Iterator& operator++()
        {
            link = link->next;
            return *this;
        }
        /// To the previous node; from the end to the last.
        Iterator& operator--()
        {
            link = link->prev;
            return *this;
        }

        /// Whether both denote the same node.
        bool operator==(const Iterator& other) const { return link == other.link; }
        /// Whether they denote different nodes.
        bool operator!=(const Iterator& other) const { return link != other.link; }

    private:
        NodeLink* link = nullptr;
    };

    ListBase(); ///< Empty.
    ListBase(const ListBase&) = delete;
    ListBase& operator=(const ListBase&) = delete;

    /// Makes `b` the link behind `a`, and touches nothing else.
    static void FitLink(NodeLink* a, NodeLink* b);

    void InsertBack(NodeLink* pos, NodeLink* node);  ///< Puts `node` directly behind `pos`.
    void InsertFront(NodeLink* pos, NodeLink* node); ///< Puts `node` directly before `pos`.
    void PushFront(NodeLink* node);                  ///< Puts `node` before all others.
    void PushBack(NodeLink* node);                   ///< Puts `node` behind all others.

    /// Takes `node` out and sets both its links to null. It is not released.
    void Erase(NodeLink* node);

    /// Takes the first node out.
    /// @param out  receives the node; stays as it is when the list is empty
    /// @return false when the list is empty
    bool PopFront(NodeLink** out);

    bool PopBack(NodeLink** out); ///< Takes the last node out, as PopFront does the first.

    /// Moves all nodes of `other` into this list, which must be empty: it would lose its nodes.
    void SwapThisIsEmpty(ListBase& other);

    void Swap(ListBase& other); ///< Trades the nodes.

    bool Empty() const { return front.next == &back; } ///< Whether there is no node.

    Iterator Begin() { return Iterator(front.next); } ///< The first node; the end when empty.
    Iterator End() { return Iterator(&back); }        ///< Behind the last node.

protected:
    NodeLink front; ///< Sentinel before the first node.
    NodeLink back;  ///< Sentinel behind the last node.
};

/// A list of T that owns its nodes.
///
/// Copies are deep, Swap hands over; nothing moves. Nodes are single heap objects: raw Node
/// pointers that come out of the list are the caller's to delete, those that go in become the
/// list's. When a node cannot be had, std::bad_alloc passes. One thread at a time.
template <class T> class List : public ListBase {
public:
    /// One node: the links, then the element.
    struct Node : NodeLink {
        Node() : item() {}                             ///< A value-initialised element.
        explicit Node(const T& value) : item(value) {} ///< A copy of `value`.

        T item; ///< The element.
    };

    /// A position whose element may be changed.
    class Iterator : public ListBase::Iterator {
    public:
        Iterator() = default; ///< Denotes no node.
        /// The typed form of a position in a List<T>.
        explicit Iterator(const ListBase::Iterator& position) : ListBase::Iterator(position) {}

        T& operator*() const { return GetNode()->item; }   ///< The element.
        T* operator->() const { return &GetNode()->item; } ///< The element's members.

        Node* GetNode() const { return static_cast<Node*>(this->Link()); } ///< Not at the end.

        /// To the next node.
        Iterator& operator++()
        {
            ListBase::Iterator::operator++();
            return *this;
        }
        /// To the next node; the result stays.
        Iterator operator++(int)
        {
            const Iterator old = *this;
            ++*this;
            return old;
        }
        /// To the previous node; from the end to the last.
        Iterator& operator--()
        {
            ListBase::Iterator::operator--();
            return *this;
        }
        /// To the previous node; the result stays.
        Iterator operator--(int)
        {
            const Iterator old = *this;
            --*this;
            return old;
        }
    };

    /// A position whose element is only read.
    class IteratorConst {
    public:
        IteratorConst() = default;                                           ///< No node.
        explicit IteratorConst(const NodeLink* position) : link(position) {} ///< That link.
        IteratorConst(const Iterator& position) : link(position.Link()) {}   ///< The same node.

        const T& operator*() const { return GetNode()->item; }   ///< The element.
        const T* operator->() const { return &GetNode()->item; } ///< The element's members.

        /// The node; not at the end.
        const Node* GetNode() const { return static_cast<const Node*>(link); }

        /// To the next node.
        IteratorConst& operator++()
        {
            link = link->next;
            return *this;
        }
        /// To the next node; the result stays.
        IteratorConst operator++(int)
        {
            const IteratorConst old = *this;
            ++*this;
            return old;
        }
        /// To the previous node; from the end to the last.
        IteratorConst& operator--()
        {
            link = link->prev;
            return *this;
        }
        /// To the previous node; the result stays.
        IteratorConst operator--(int)
        {
            const IteratorConst old = *this;
            --*this;
            return old;
        }

        /// Whether both denote the same node.
        bool operator==(const IteratorConst& other) const { return link == other.link; }
        /// Whether they denote different nodes.
        bool operator!=(const IteratorConst& other) const { return link != other.link; }

    private:
        const NodeLink* link = nullptr;
    };

    /// Owns one node that is in no list: one that is being built, or that came out of a list.
    /// What it still holds in the end it deletes.
    class IteratorMove {
    public:
        IteratorMove() = default;                           ///< Holds nothing.
        explicit IteratorMove(Node* taken) : node(taken) {} ///< Takes `taken` over.
        IteratorMove(const IteratorMove&) = delete;
        IteratorMove& operator=(const IteratorMove&) = delete;
        ~IteratorMove() { delete node; } ///< Deletes the node, if it holds one.

        T& operator*() const { return node->item; }   ///< The element; there must be a node.
        T* operator->() const { return &node->item; } ///< The element's members.

        bool Empty() const { return !node; } ///< Whether it holds nothing.

        /// Deletes the node that it holds and takes `taken`, which may be null, over.
        void Reset(Node* taken)
        {
            delete node;
            node = taken;
        }

        /// Hands the node on: the caller owns it, and the handle holds nothing.
        Node* Release()
        {
            Node* const released = node;
            node = nullptr;
            return released;
        }

    private:
        Node* node = nullptr;
    };

    List() = default; ///< Empty; allocates nothing.

    /// Deep copy; when a node cannot be had, those made so far are released.
    List(const List& other) : List()
    {
        for (const T& item : other)
            PushBack(new Node(item));
    }

    /// Deep copy; when a node cannot be had, this list stays as it was.
    List& operator=(const List& other)
    {
        if (this != &other) {
            List copy(other);
            Swap(copy);
        }
        return *this;
    }

    ~List() { Clear(); } ///< Deletes every node.

    /// Deletes every node, from the first to the last.
    void Clear()
    {
        NodeLink* link = this->front.next;
        while (link != &this->back) {
            Node* const node = static_cast<Node*>(link);
            link = link->next;
            delete node;
        }
        this->front.prev = nullptr;
        this->back.next = nullptr;
        FitLink(&this->front, &this->back);
    }

    /// Puts `node` directly behind `pos`; the list owns it from now on.
    void InsertBack(const ListBase::Iterator& pos, Node* node)
    {
        ListBase::InsertBack(pos.Link(), node);
    }

    /// Puts `node` directly before `pos`, which may be the end; the list owns it from now on.
    void InsertFront(const ListBase::Iterator& pos, Node* node)
    {
        ListBase::InsertFront(pos.Link(), node);
    }

    /// Puts `node` directly behind `pos`, a node of this list; the list owns it from now on.
    void InsertBack(Node* pos, Node* node) { ListBase::InsertBack(pos, node); }

    /// Puts `node` directly before `pos`, a node of this list; the list owns it from now on.
    void InsertFront(Node* pos, Node* node) { ListBase::InsertFront(pos, node); }

    void PushFront(Node* node) { ListBase::PushFront(node); } ///< The list owns it from now on.
    void PushBack(Node* node) { ListBase::PushBack(node); }   ///< The list owns it from now on.

    /// Puts the node of `from`, which must hold one, before all others; `from` then holds nothing.
    void PushFront(IteratorMove& from) { PushFront(from.Release()); }
    /// Puts the node of `from`, which must hold one, behind all others; `from` then holds nothing.
    void PushBack(IteratorMove& from) { PushBack(from.Release()); }

    /// Takes the node at `at` out. Whoever ignores the result has it deleted.
    IteratorMove Erase(const Iterator& at)
    {
        Node* const node = at.GetNode();
        ListBase::Erase(node);
        return IteratorMove(node);
    }

    /// Takes `node` out and sets both its links to null; it is the caller's from now on.
    void Erase(Node* node) { ListBase::Erase(node); }

    /// Takes the first node out; it is the caller's from now on.
    /// @param out  receives the node; stays as it is when the list is empty
    /// @return false when the list is empty
    bool PopFront(Node** out)
    {
        NodeLink* link;
        if (!ListBase::PopFront(&link))
            return false;
        *out = static_cast<Node*>(link);
        return true;
    }

    /// Takes the last node out, as PopFront does the first.
    bool PopBack(Node** out)
    {
        NodeLink* link;
        if (!ListBase::PopBack(&link))
            return false;
        *out = static_cast<Node*>(link);
        return true;
    }

    /// Takes the first node out into `out`, which deletes what it held before.
    /// @return false when the list is empty; `out` then stays as it is
    bool PopFront(IteratorMove& out)
    {
        Node* node;
        if (!PopFront(&node))
            return false;
        out.Reset(node);
        return true;
    }

    /// Takes the last node out, as PopFront does the first.
    bool PopBack(IteratorMove& out)
    {
        Node* node;
        if (!PopBack(&node))
            return false;
        out.Reset(node);
        return true;
    }

    /// Moves all nodes of `other` into this list, which must be empty: it would lose its nodes.
    void SwapThisIsEmpty(List& other) { ListBase::SwapThisIsEmpty(other); }

    void Swap(List& other) { ListBase::Swap(other); } ///< Trades the nodes; never raises.

    Iterator Begin() { return Iterator(ListBase::Begin()); } ///< The first element.
    Iterator End() { return Iterator(ListBase::End()); }     ///< Behind the last element.
    /// The first element.
    IteratorConst Begin() const { return IteratorConst(this->front.next); }
    IteratorConst End() const { return IteratorConst(&this->back); } ///< Behind the last element.

    Iterator begin() { return Begin(); }            ///< For range-based loops.
    Iterator end() { return End(); }                ///< For range-based loops.
    IteratorConst begin() const { return Begin(); } ///< For range-based loops.
    IteratorConst end() const { return End(); }     ///< For range-based loops.
};

} // namespace ORVEX

#endif
