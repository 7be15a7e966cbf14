#include "faults/failingnew.h"

#include <cstdlib>
#include <new>

namespace {

constexpr long kNever = 0;

/// Allocations until the one that fails.
thread_local long t_left = kNever;
thread_local bool t_hasFailed = false;

void FailWhereItIsTime() {
    if (t_left == kNever || --t_left != kNever) return;
    t_hasFailed = true;
    throw std::bad_alloc();
}

void* Allocate(std::size_t size) {
    FailWhereItIsTime();
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
    FailWhereItIsTime();
    const auto boundary = static_cast<std::size_t>(alignment);
    const std::size_t wholeSize = (size + boundary - 1) / boundary * boundary;
    if (void* const memory = std::aligned_alloc(boundary, wholeSize)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

FailingNew::FailingNew(long nth) {
    t_hasFailed = false;
    t_left = nth;
}

FailingNew::~FailingNew() {
    t_left = kNever;
}

bool FailingNew::HasFailed() const {
    return t_hasFailed;
}

PlentyOfMemory::PlentyOfMemory() : m_left(t_left) {
    t_left = kNever;
}

PlentyOfMemory::~PlentyOfMemory() {
    t_left = m_left;
}
