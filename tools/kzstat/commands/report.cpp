#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "figures/runhistory.h"
#include "kzjournalreader.h"
#include "page/pagejson.h"

namespace kzstatprogram {
namespace {

struct ReportOptions {
    std::string journal;
    std::string page;
    RangeOptions range;
};

void WriteFile(const std::string& path, const std::string& text) {
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw kzjournal::Error("cannot write " + path + ": " + std::strerror(errno));
}

ExitStatus Report(const ReportOptions& options, Output& output) {
    kzjournal::Reader journal(options.journal);
    const RunHistory history(options.journal, options.range.RangeOf(journal));
    const std::string page = PageWith(PageJson(history));
    if (options.page == "-")
        output.Write(page);
    else
        WriteFile(options.page, page);
    return kDone;
}

}  // namespace

void DeclareReport(CommandLine& line) {
    Command command = line.AddCommand("report", "Write a page of charts and tables for a browser");
    const auto options = std::make_shared<ReportOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("-o,--output", options->page, "The HTML file to write (- for standard output)")
        .Required()
        .ValueName("PAGE");
    options->range.Declare(command);
    command.Footer("Example: kzstat report run.kzj -o run.html");
    command.Does([options](Output& output) { return Report(*options, output); });
}

}  // namespace kzstatprogram
