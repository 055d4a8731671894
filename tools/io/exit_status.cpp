#include "io/exit_status.h"

#include "io/terminal.h"

namespace {

ExitStatus complain(std::string const& complaint, ExitStatus status) {
    terminal::err() << "sealkit: " << printableLine(complaint) << std::endl;
    return status;
}

} // namespace

int badInput(std::string const& complaint) { return complain(complaint, exitBadInput); }
int wrongUsage(std::string const& complaint) { return complain(complaint, exitWrongUsage); }
int answerNo(std::string const& complaint) { return complain(complaint, exitNo); }

void note(std::string const& text) { terminal::err() << "note: " << printableLine(text) << std::endl; }
