// SPDX-License-Identifier: MIT
#include <tests/integration/sidebyside.h>

#include <thread>
#include <vector>

void runSideBySide(int threads, const std::function<bool()> &workOne)
{
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&workOne] {
            while (workOne()) {}
        });
    }
    for (std::thread &worker : workers)
        worker.join();
}
