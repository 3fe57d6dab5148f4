// SPDX-License-Identifier: Apache-2.0
// Why one image, and no other, could not be dealt with.
#pragma once

#include <stdexcept>
#include <string>

namespace tekoimg {

// Says in the words behind "tekoimg: NAME: " what is wrong and what to do.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What the system said, and what helps: "there is no space left; make room and run it again".
std::string systemReason(int error);

} // namespace tekoimg
