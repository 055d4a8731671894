#include "io/exit_status.h"

#include "io/report.h"
#include "io/terminal.h"

namespace {

ExitStatus complain(Complaint const& complaint, ExitStatus status) {
    terminal::err() << printableLine(complaint.text) << std::endl;
    report::addProblem(complaint);
    return status;
}

} // namespace

int badInput(Complaint const& complaint) { return complain(complaint, exitBadInput); }
int wrongUsage(Complaint const& complaint) { return complain(complaint, exitWrongUsage); }
int answerNo(Complaint const& complaint) { return complain(complaint, exitNo); }

void note(std::string const& text) {
    terminal::err() << "note: " << printableLine(text) << std::endl;
    report::addNote(text);
}

void warn(std::string const& text) { terminal::err() << "warning: " << printableLine(text) << std::endl; }
