#include "options.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <iterator>
#include <memory>
#include <sstream>

#include "conditions/conditionfile.h"
#include "kzjournalerror.h"
#include "terminal/terminaltext.h"

namespace kzload {
namespace {

constexpr int kBadUsage = 2;
constexpr char kHidden[] = "***";

/// Refuses NaN, which fails both comparisons.
CLI::Validator Between(double least, double most) {
    const auto check = [least, most](const std::string& text) -> std::string {
        double value = 0;
        if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most) return {};
        std::ostringstream complaint;
        complaint.precision(10);
        complaint << "'" << text << "' is not a number from " << least << " to " << most;
        return complaint.str();
    };
    return CLI::Validator(check, "");
}

/// An option that is given is meant: no name must not stand for none.
CLI::Validator Named() {
    return CLI::Validator(
        [](const std::string& text) {
            return std::string(text.empty() ? "no name was given" : "");
        },
        "");
}

using UrlParts = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

/// Empty where the URL has no such part.
std::string PartOf(const UrlParts& url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, 0) != CURLUE_OK) return {};
    std::string copy(text);
    curl_free(text);
    return copy;
}

bool IsUrl(const std::string& text) {
    const UrlParts url(curl_url(), curl_url_cleanup);
    return curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK;
}

/// What may have been meant as a user and a password, where the text is no URL.
std::string WithoutWhatMayBeSecret(const std::string& text) {
    const std::size_t end = text.rfind('@');
    if (IsUrl(text) || end == std::string::npos) return WithoutSecrets(text);
    const std::size_t slashes = text.find("//");
    const std::size_t begin = slashes < end ? slashes + 2 : 0;
    return text.substr(0, begin) + kHidden + text.substr(end);
}

/// `text` quotes arguments, or the values in them.
std::string WithoutSecretsOf(int argc, char** argv, std::string text) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        for (const std::string& part : {argument, argument.substr(argument.find('=') + 1)}) {
            const std::string shown = WithoutWhatMayBeSecret(part);
            if (shown == part) continue;
            for (std::size_t at = text.find(part); at != std::string::npos;
                 at = text.find(part, at + shown.size()))
                text.replace(at, part.size(), shown);
        }
    }
    return text;
}

/// What is wrong with `url`, or an empty text.
std::string CheckUrl(const std::string& url) {
    const UrlParts parts(curl_url(), curl_url_cleanup);
    const CURLUcode status = curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0);
    if (status != CURLUE_OK)
        return "'" + url + "' is no URL such as http://host/path: " + curl_url_strerror(status);
    const std::string scheme = PartOf(parts, CURLUPART_SCHEME);
    if (scheme == "http" || scheme == "https") return {};
    return "'" + url + "': only http:// and https:// are loaded";
}

/// What is requested, without what may be secret or different each time.
std::string MethodAndPath(const std::string& url) {
    const UrlParts parts(curl_url(), curl_url_cleanup);
    curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0);
    return "GET " + PartOf(parts, CURLUPART_PATH);
}

/// The byte 1 separates the fields of a message.
CLI::Validator NameOfStatistics() {
    return CLI::Validator(
        [](const std::string& text) {
            const bool isName = !text.empty() && text.find('\1') == std::string::npos;
            return std::string(isName ? "" : "'" + text + "' is no name for statistics");
        },
        "");
}

/// A single run has not changed.
std::string MistakeIn(const kzconditions::Condition& condition) {
    if (!condition.IsChange()) return {};
    return "'" + condition.text + "': there is no run to compare with; see kzstat verdict";
}

CLI::Validator ConditionOfARun() {
    return CLI::Validator(
        [](const std::string& text) -> std::string {
            try {
                return MistakeIn(kzconditions::ConditionOf(text));
            } catch (const kzjournal::Error& error) {
                return error.what();
            }
        },
        "");
}

/// The conditions of a command line, before they are read.
struct ConditionTexts {
    std::vector<std::string> required;
    std::string file;  // empty: none
    std::vector<std::string> abortIf;
};

/// Throws kzjournal::Error.
std::vector<kzconditions::Condition> ConditionsInFile(const std::string& path) {
    std::vector<kzconditions::Condition> conditions = kzconditions::ReadConditions(path);
    for (const kzconditions::Condition& each : conditions)
        if (const std::string mistake = MistakeIn(each); !mistake.empty())
            throw kzjournal::Error(std::string(path).append(": ").append(mistake));
    return conditions;
}

/// Throws kzjournal::Error.
void ReadConditions(const ConditionTexts& texts, Options& options) {
    kzconditions::AddNew(kzconditions::ConditionsOf(texts.required), options.required);
    kzconditions::AddNew(kzconditions::ConditionsOf(texts.abortIf), options.abortIf);
    if (!texts.file.empty()) kzconditions::AddNew(ConditionsInFile(texts.file), options.required);
}

/// An option that takes one value each time it is given: the URL may follow it.
void DeclareRepeatable(CLI::App& app, const char* name, std::vector<std::string>& texts,
                       const char* description) {
    app.add_option(name, texts, description)
        ->type_name("CONDITION")
        ->check(ConditionOfARun())
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
}

void DeclareConditions(CLI::App& app, ConditionTexts& texts) {
    DeclareRepeatable(app, "--require", texts.required,
                      "What must be so at the end, such as 'request.time p95 < 250ms'; the exit"
                      " status is 1 if it is not");
    app.add_option("--conditions", texts.file, "A file of such conditions, one per line")
        ->type_name("FILE")
        ->check(Named());
    DeclareRepeatable(app, "--abort-if", texts.abortIf,
                      "What ends the load with exit status 1 once it is so, such as 'errors share >"
                      " 50%'; not before three slices");
}

/// The arguments, with blanks between them.
std::string CommandLine(int argc, char** argv) {
    std::string line = "kzload";
    for (int i = 1; i < argc; ++i) line += " " + WithoutSecrets(argv[i]);
    return line;
}

/// Unique among runs in one folder, even if they begin at the same time.
std::string NewJournalName() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::ostringstream name;
    name << "kzload-" << std::put_time(&utc, "%Y%m%d-%H%M%S-") << getpid() << ".kzj";
    return name.str();
}

void Declare(CLI::App& app, Options& options) {
    CLI::Option* const url =
        app.add_option("URL", options.url,
                       "The URL to load (default: a demo server in this process)")
            ->check(CLI::Validator(CheckUrl, ""));
    app.add_option("--name", options.requestName,
                   "What results call the requests (default: their method and path)")
        ->check(NameOfStatistics())
        ->needs(url);
    app.add_option("--clients", options.clients, "Simulated clients")->check(Between(1, 10000));
    app.add_option("--threads", options.threads, "Threads that run the clients")
        ->check(Between(1, 256));
    app.add_option("--duration", options.durationSeconds, "Seconds of load")
        ->check(Between(0.1, 1e6));
    app.add_option("--slice", options.sliceSeconds, "Seconds per slice of statistics")
        ->check(Between(0.1, 1e5));
    app.add_option("--think-time", options.thinkTimeMilliseconds,
                   "Milliseconds between a client's requests")
        ->check(Between(0, 3.6e6));
    app.add_option("--messages", options.messagesFile, "Append the message of each slice to a file")
        ->type_name("FILE")
        ->check(Named());
    const auto journal =
        app.add_option("--journal", options.journalFile, "Write the run to a new file")
            ->type_name("FILE")
            ->check(Named());
    app.add_flag_callback(
           "--no-journal", [&options] { options.journalFile.clear(); }, "Write no journal")
        ->excludes(journal);
    app.add_flag("--quiet", options.quiet, "Print the final table only");
}

}  // namespace

std::string WithoutSecrets(const std::string& argument) {
    const UrlParts url(curl_url(), curl_url_cleanup);
    if (curl_url_set(url.get(), CURLUPART_URL, argument.c_str(), 0) != CURLUE_OK) return argument;
    constexpr CURLUPart kSecrets[] = {CURLUPART_USER, CURLUPART_PASSWORD};
    const auto isThere = [&](CURLUPart part) { return !PartOf(url, part).empty(); };
    if (std::none_of(std::begin(kSecrets), std::end(kSecrets), isThere)) return argument;
    for (const CURLUPart part : kSecrets) curl_url_set(url.get(), part, kHidden, 0);
    return PartOf(url, CURLUPART_URL);
}

bool LooksUpHost(const std::string& url) {
    const UrlParts parts(curl_url(), curl_url_cleanup);
    curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0);
    const std::string host = PartOf(parts, CURLUPART_HOST);
    in_addr address = {};
    // In brackets is an address of version 6. The transfer library knows where localhost is.
    return host.compare(0, 1, "[") != 0 && host != "localhost" &&
           inet_pton(AF_INET, host.c_str(), &address) != 1;
}

std::optional<Options> ReadOptions(int argc, char** argv, int& exitStatus) {
    Options options;
    options.journalFile = NewJournalName();
    options.commandLine = CommandLine(argc, argv);
    CLI::App app("Loads an HTTP server with simulated clients and shows statistics per slice.",
                 "kzload");
    app.footer(
        "Exits with status 0 if the run was complete and met its conditions, 1 if it failed or did"
        " not\nmeet one, and 2 if the command line was invalid or a condition cannot be told.");
    app.option_defaults()->always_capture_default();
    ConditionTexts conditions;
    Declare(app, options);
    DeclareConditions(app, conditions);
    try {
        app.parse(argc, argv);
        ReadConditions(conditions, options);
        options.threads = std::min(options.threads, options.clients);
        if (options.requestName.empty()) options.requestName = MethodAndPath(options.url);
        return options;
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        exitStatus = 0;
    } catch (const std::exception& error) {
        // Of the parser, or of a condition.
        const std::string reason = WithoutSecretsOf(argc, argv, error.what());
        std::fprintf(stderr, "kzload: %s (see kzload --help)\n",
                     kzterminal::Printable(reason).c_str());
        exitStatus = kBadUsage;
    }
    return std::nullopt;
}

}  // namespace kzload
