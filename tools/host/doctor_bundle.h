// What a doctor's visit leaves for somebody far away: the files of a bundle, and the same under other names.
//
// Without names, tags, hosts, addresses, users and paths get other names (tools/doctor/disguise.h); the answers to the
// handshake, which may name the device, and session bytes are zeros in the capture. Without values, so are the bytes of every
// answer to a read. With either, no finding quotes a value or a byte of a reply.
// Areas, offsets and lengths stay: they tell neither name nor value, and without them nothing can be found out.
#ifndef AC500_TOOLS_HOST_DOCTOR_BUNDLE_H
#define AC500_TOOLS_HOST_DOCTOR_BUNDLE_H

#include <string>
#include <vector>

#include "tools/doctor/check_line.h"
#include "tools/doctor/disguise.h"
#include "tools/doctor/tar_gz.h"
#include "tools/guard/handshake_pattern.h"
#include "tools/host/command_line.h"
#include "tools/host/output.h"
#include "tools/host/plc_examination.h"

namespace ac500::host {

struct VisitReport {
    std::vector<doctor::CheckLine> lines;
    std::vector<TrafficStep> traffic;
    ExaminationFigures figures;
    std::string driverFile;  // empty when it was not found
    Time took{0};
    bool ranOutOfTime = false;            // something was left out because the time of --within was over
    std::string record;                   // the recorder's minutes; empty: none
    std::vector<std::string> listed;      // what lists of tags name, right or wrong
    const SymbolFile* symbols = nullptr;  // null: none could be used
    guard::HandshakeOrigin learnedOf;     // what the file of --handshake belongs to; empty: none could be used
};

struct Bundle {
    std::vector<doctor::ArchiveEntry> entries;
    std::vector<std::string> leftOut;  // what somebody may expect in it, and why it is not there
    doctor::Disguise disguise;         // what was replaced by what; empty with names
};

Bundle makeBundle(const Options& options, const VisitReport& report);

// As they are printed; of many tags those that passed are left out.
std::string visitText(const std::vector<doctor::CheckLine>& lines);
std::string visitSummary(const std::vector<doctor::CheckLine>& lines, Time took, int withinSeconds);
Json visitJson(const std::vector<doctor::CheckLine>& lines, Time took, int withinSeconds);

// The list that is shown before a bundle is written.
std::string bundleContents(const Bundle& bundle);

// The same traffic with zeros where a device may be named, or values stand.
std::vector<TrafficStep> withoutContents(const std::vector<TrafficStep>& traffic, bool keepsValues);

}  // namespace ac500::host

#endif
