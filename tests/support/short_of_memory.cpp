/** The program's operator new, which the library's calls reach too. */
#include "tests/support/short_of_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool no_memory = false;

} // namespace

namespace kt::tests {

short_of_memory::short_of_memory()
{
    no_memory = true;
}

short_of_memory::~short_of_memory()
{
    no_memory = false;
}

} // namespace kt::tests

void* operator new(std::size_t size)
{
    void* memory = no_memory ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
