// SPDX-License-Identifier: Apache-2.0
// A file that appears under its name when it is whole, and not before.
#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tekoimg {

// Where a file is made until it is whole.
std::string partOf(const std::string& path);

/**
 * The file is made as NAME.part and renamed by commit(). Until then the name holds what it held before. Without a
 * commit the part is removed, also by SIGINT, SIGTERM and SIGHUP (see endings.hpp). One that a killed run left is
 * replaced; one that another run is writing is left to it. Standard output gets its bytes from commit() as well.
 * All throw Failure.
 */
class Output {
public:
    // Makes the folders above it. Without force, nothing may be there; with it, nothing but a regular file.
    Output(const std::string& path, bool force);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(const void* bytes, std::size_t count);
    // At most so many bytes; fewer at the end.
    std::size_t read(void* bytes, std::size_t most);
    off_t seek(off_t offset, int whence);
    // All that was written.
    std::vector<std::byte> readBack();
    // Everything is on the device when it gets its name.
    void commit();

private:
    bool openPart();
    void giveToPipe();
    void giveName();
    void discard();

    std::string path;
    std::string part; // empty for standard output
    bool force;
    int descriptor = -1;
};

} // namespace tekoimg
