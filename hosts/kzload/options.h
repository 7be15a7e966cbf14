#ifndef KZLOAD_OPTIONS_H
#define KZLOAD_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "conditions/condition.h"

namespace kzload {

/// What the command line asks for. Compatible.
struct Options {
    std::string url;          // empty: the demo server of this process
    std::string requestName;  // what results call the requests of `url`
    int clients = 20;
    int threads = 2;
    double durationSeconds = 10;
    double sliceSeconds = 1;
    int thinkTimeMilliseconds = 50;
    std::string messagesFile;  // empty: none
    std::string journalFile;   // empty: none
    bool quiet = false;
    std::vector<kzconditions::Condition> required;  // what must be so at the end
    std::vector<kzconditions::Condition> abortIf;   // what ends the load once it is so
    std::string commandLine;  // the call, without the user and password of the URL
};

/// The URL with *** for the user and the password in it, for people to read. What is no URL, or has
/// neither, stays as it is. Safe for concurrent use.
std::string WithoutSecrets(const std::string& argument);

/// True if connecting takes a search for the address of the URL's host. Safe for concurrent use.
bool LooksUpHost(const std::string& url);

/// Reads the command line. Where the process should end instead (help, a mistake), says so to the
/// user, puts the exit status into `exitStatus` and returns nothing.
std::optional<Options> ReadOptions(int argc, char** argv, int& exitStatus);

}  // namespace kzload

#endif
