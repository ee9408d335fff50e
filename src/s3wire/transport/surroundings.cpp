// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/surroundings.h"

#include <random>
#include <thread>

namespace bucketry::s3wire
{

namespace
{

double Random()
{
    thread_local std::minstd_rand generator{std::random_device{}()};
    return std::uniform_real_distribution<double>(0, 1)(generator);
}

} // namespace

SSurroundings SSurroundings::Real()
{
    return {[] { return std::time(nullptr); },
            [](std::chrono::milliseconds pause) { std::this_thread::sleep_for(pause); }, &Random};
}

} // namespace bucketry::s3wire
