#ifndef KZ_TESTS_LONGRUN_OPTIONS_H
#define KZ_TESTS_LONGRUN_OPTIONS_H

/// What the program is to simulate. Compatible: one thread at a time per object.
struct Options {
    int slices = 86400;  ///< slices in which every client reports, of one second each
    int clients = 1000;
    int names = 50;
    int silence = 3600;  ///< slices in which nobody reports, after the others
};

/// Reads the command line into `options`. False, with a line on standard error, where it holds
/// anything but the options and whole numbers in their range.
bool ReadOptions(int argc, char* const* argv, Options& options);

#endif
