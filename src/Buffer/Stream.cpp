// SPDX-License-Identifier: MIT
#include <ORVEX/Stream.h>

namespace ORVEX {

namespace {

// Holds a lock to the end of the block, also where an exception leaves it.
class Locked {
public:
    explicit Locked(Mutex& taken) : lock(taken) { lock.Lock(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() { lock.Unlock(); }

private:
    Mutex& lock;
};

} // namespace

Stream::~Stream()
{
    delete pushNode;
    delete popNode;
}

Buffer& Stream::PushBackStart()
{
    if (!pushNode) {
        const Locked locked(freeLock);
        if (!free.PopFront(&pushNode))
            pushNode = new List<Buffer>::Node;
    }
    return pushNode->item;
}

void Stream::PushBackEnd()
{
    if (pushNode->item.Empty())
        return;
    const Locked locked(filledLock);
    filled.PushBack(pushNode);
    pushNode = nullptr;
}

const BufferBase& Stream::PopFrontStart()
{
    PopFrontEnd();
    const Locked locked(filledLock);
    if (!filled.PopFront(&popNode))
        return BufferBase::Zero;
    return popNode->item;
}

void Stream::PopFrontEnd()
{
    if (!popNode)
        return;
    const Locked locked(freeLock);
    free.PushBack(popNode);
    popNode = nullptr;
}

bool Stream::Empty() const
{
    filledLock.ReadLock();
    const bool empty = filled.Empty();
    filledLock.ReadUnlock();
    return empty;
}

std::int32_t Stream::Size() const
{
    std::uint32_t sum = 0;
    filledLock.ReadLock();
    for (const Buffer& packet : filled)
        sum += static_cast<std::uint32_t>(packet.Length());
    filledLock.ReadUnlock();
    return static_cast<std::int32_t>(sum);
}

void Stream::Clear()
{
    const Locked lockedFilled(filledLock);
    const Locked lockedFree(freeLock);
    List<Buffer>::Node* node;
    while (filled.PopFront(&node))
        free.PushBack(node);
}

} // namespace ORVEX
