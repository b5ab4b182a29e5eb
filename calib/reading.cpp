#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "calibmap.h"

int32_t isFileExists(const char* path) {
    return access(path, F_OK) == 0 ? 0 : -1;
}

int32_t readCalibrationDataC(const char* path, uint8_t* image) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return -1;
    }
    // A pipe gives what it has, and a signal may come before anything.
    size_t size = 0;
    while (size < CALIBMAP_FILE_SIZE) {
        const ssize_t more = read(file, image + size, CALIBMAP_FILE_SIZE - size);
        if (more > 0) {
            size += static_cast<size_t>(more);
        } else if (more == 0 || errno != EINTR) {
            break;
        }
    }
    close(file);
    return size == CALIBMAP_FILE_SIZE ? 0 : -1;
}
