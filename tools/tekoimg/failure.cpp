// SPDX-License-Identifier: Apache-2.0
#include "failure.hpp"

#include <cerrno>
#include <system_error>

namespace tekoimg {

std::string systemReason(int error) {
    const std::string reason = std::generic_category().message(error);
    switch (error) {
    case ENOENT:
        return reason + "; check the name";
    case EACCES:
    case EPERM:
    case EROFS:
        return reason + "; check the permissions of the file and its folder";
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return reason + "; make room and run it again";
    case EMFILE:
    case ENFILE:
        return reason + "; run it with fewer --jobs";
    case EPIPE:
        return reason + "; what reads the output has ended before it was complete";
    default:
        return reason + "; check the device and run it again";
    }
}

} // namespace tekoimg
