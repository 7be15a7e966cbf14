#ifndef KZ_TESTS_LONGRUN_RESIDENTMEMORY_H
#define KZ_TESTS_LONGRUN_RESIDENTMEMORY_H

/// The memory of this process that is in use, in bytes; 0 where the system does not tell. Has no
/// state; safe for concurrent use.
double ResidentBytes();

inline double MiB(double bytes) {
    return bytes / (1024.0 * 1024.0);
}

#endif
