// SPDX-License-Identifier: BSD-2-Clause

#include <pthread.h>
#include <unistd.h>

#include <array>

// Starts threads that do nothing, before `main`, as a library of a program may.

namespace
{

void* wait(void*)
{
    for (;;)
        pause();
}

[[gnu::constructor]] void startThreads()
{
    std::array<pthread_t, 4> threads{};
    for (pthread_t& thread : threads)
        pthread_create(&thread, nullptr, wait, nullptr);
}

} // namespace
