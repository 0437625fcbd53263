// SPDX-License-Identifier: MIT
#ifndef ORVEX_STREAM_H
#define ORVEX_STREAM_H

#include <ORVEX/Buffer.h>
#include <ORVEX/List.h>
#include <ORVEX/Mutex.h>

#include <cstdint>

namespace ORVEX {

/// A queue of byte packets from one thread to another that recycles its buffers.
///
/// One thread fills packets between PushBackStart and PushBackEnd, one thread reads them between
/// PopFrontStart and PopFrontEnd, neither under a lock; Empty, Size and Clear may be called from
/// any thread. Owns all buffers. A packet's buffer travels to the reader and back, so that packets
/// of similar size allocate nothing once as many buffers exist as are under way at a time. No
/// thread may be in the stream when it is destroyed.
class Stream {
public:
    Stream() = default; ///< Empty; allocates nothing.
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream(); ///< Releases all buffers, those being filled and read included.

    /// The buffer of the next packet, for the producer to resize and fill. It may still hold the
    /// bytes and the length of the packet that it carried last. It is the producer's until
    /// PushBackEnd hands it on; a second call returns it again. When no buffer is free and none
    /// can be had, std::bad_alloc passes and the stream is as before.
    Buffer& PushBackStart();

    /// Queues the packet. An empty one is not queued; the next PushBackStart returns its buffer
    /// again. PushBackStart must have been called before.
    void PushBackEnd();

    /// The oldest packet, for the consumer to read; BufferBase::Zero when none waits. It stays
    /// valid until PopFrontEnd or the next PopFrontStart, which gives it back for reuse.
    const BufferBase& PopFrontStart();

    void PopFrontEnd(); ///< Gives the packet back for reuse. Nothing if there is none.

    bool Empty() const; ///< Whether no packet waits.

    /// The bytes of all packets that wait, not of those being filled or read; the low 32 bits of
    /// the sum. Takes time in proportion to their number.
    std::int32_t Size() const;

    void Clear(); ///< Gives the packets that wait back for reuse, bytes included.

private:
    // Clear alone holds both locks, filledLock first; everything else holds one at a time.
    List<Buffer> filled;                    // the oldest packet first
    List<Buffer> free;                      // nodes for reuse
    Mutex filledLock;                       // guards filled
    Mutex freeLock;                         // guards free
    List<Buffer>::Node* pushNode = nullptr; // being filled; the producer's and in no list, or null
    List<Buffer>::Node* popNode = nullptr;  // being read; the consumer's and in no list, or null
};

} // namespace ORVEX

#endif
