#pragma once

#include "vesko/export.h"

namespace Tovra::Memory {

struct BufferInternal;

/// A byte buffer that grows.
///
/// It keeps one block of memory, which moves when it grows and is freed by `reset` or with the
/// buffer. New bytes are not zeroed. Every failed allocation is reported in the log and leaves the
/// buffer as it was.
/// Threads: an object belongs to one thread at a time.
/// Units: sizes are bytes.
class VESKO_API CBuffer {
public:
    /// Makes a buffer without memory.
    CBuffer();
    ~CBuffer();
    CBuffer(const CBuffer&) = delete;
    CBuffer& operator=(const CBuffer&) = delete;

    /// Appends bytes. What must grow grows to a whole number of steps.
    /// @param data bytes outside this buffer; may be null when `size` is 0
    /// @return `size`, or 0 when there is no memory
    unsigned int putBuffer(unsigned char* data, unsigned int size);

    /// @return the first byte, until the buffer grows; null while its size is 0
    unsigned char* getBuffer() const;

    /// @return the bytes in use
    unsigned int size() const;

    /// @return the bytes that fit without growing
    unsigned int capacity() const;

    /// Sets the bytes in use. What must grow grows to a whole number of steps, and that is the new
    /// size then. The capacity never shrinks.
    void resize(unsigned int size);

    /// Makes room for so many bytes in all, and no more. The size stays.
    void reserve(unsigned int size);

    /// Frees the memory, and forgets the step.
    void reset();

    /// Sets the step in which the buffer grows; a buffer without memory takes as much at once.
    /// @param size 0 for growth to what is needed
    void setIncreasedSize(unsigned int size);

private:
    BufferInternal* m_internal;
};

}  // namespace Tovra::Memory
