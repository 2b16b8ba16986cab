// The C++ objects of a request (the strings and tables its pages build) come
// from a block the process has from its start: a request is one short
// process, and the C library's allocator costs a request more for its first
// allocations than the page's own work. What does not fit, and whatever the
// C code allocates, comes from malloc as before. Memory of the block is given
// back only by the newest object (most temporary texts are); the rest is
// reused when the process ends.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr size_t ARENA_SIZE = 256u << 10;
alignas(alignof(std::max_align_t)) unsigned char g_arena[ARENA_SIZE];
size_t g_used = 0;
size_t g_newest = SIZE_MAX;  // where the newest object of the block starts

bool in_arena(void* p)
{
    return p >= static_cast<void*>(g_arena) && p < static_cast<void*>(g_arena + ARENA_SIZE);
}

void* take(size_t n)
{
    const size_t align = alignof(std::max_align_t);
    size_t size = (n + align - 1) & ~(align - 1);
    if (size == 0)
        size = align;
    if (size <= ARENA_SIZE - g_used) {
        g_newest = g_used;
        g_used += size;
        return g_arena + g_newest;
    }
    return malloc(size);
}

void give(void* p) noexcept
{
    if (!p)
        return;
    if (!in_arena(p)) {
        free(p);
        return;
    }
    if (static_cast<unsigned char*>(p) == g_arena + g_newest) {
        g_used = g_newest;
        g_newest = SIZE_MAX;
    }
}

}  // namespace

void* operator new(size_t n)
{
    if (void* p = take(n))
        return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept { return take(n); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept { return take(n); }
void operator delete(void* p) noexcept { give(p); }
void operator delete[](void* p) noexcept { give(p); }
void operator delete(void* p, size_t) noexcept { give(p); }
void operator delete[](void* p, size_t) noexcept { give(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { give(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { give(p); }
