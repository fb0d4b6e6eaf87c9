#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

/// Room for the elements of one line, which hold nothing yet: up to @p own of them within the object, on the stack of
/// the kernel, and more on the heap. Kernels keep nothing per thread: a thread's first use of such a buffer needs
/// memory in a place where its lack ends the process.
template <class Element, std::size_t own>
class Scratch {
    static_assert(std::is_trivially_default_constructible_v<Element>, "elements are not set");

public:
    explicit Scratch(std::size_t count)
        : m_heap(count > own ? new (std::nothrow) Element[count] : nullptr)
        , m_elements(count > own ? m_heap.get() : m_own)
    {
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    /// Null where there is no memory.
    Element *Data() { return m_elements; }

private:
    Element m_own[own];
    std::unique_ptr<Element[]> m_heap;
    Element *m_elements;
};
