// The driver's records as a flight record has them (tools/record/event.h), and back. Both ways keep every field.
#ifndef AC500_TOOLS_DRIVER_RECORDED_VALUES_H
#define AC500_TOOLS_DRIVER_RECORDED_VALUES_H

#include "core/host_interface.h"
#include "tools/record/event.h"

namespace ac500::host {

record::Text recorded(const QString& text);
record::Bytes recorded(const QByteArray& bytes);
record::SettingsWords recorded(const ComInfo& info);
record::VarRecord recorded(const RW_VAR& var);
record::FrameRecord recorded(const Protocol& frame);
record::TagRecord recorded(const HostTag& tag);
record::LabelRecord recorded(const Label_Type_Info& label);
record::ResolutionWords recorded(const ControlInformationM& info);

QString fromRecord(const record::Text& text);
QByteArray fromRecord(const record::Bytes& bytes);
ComInfo fromRecord(const record::SettingsWords& words);
RW_VAR fromRecord(const record::VarRecord& var);
HostTag fromRecord(const record::TagRecord& tag);
Label_Type_Info fromRecord(const record::LabelRecord& label);
ControlInformationM fromRecord(const record::ResolutionWords& words);

// Sets word `index`, counted from 0, and no other. REQUIRES: it is below record::kSettingsWords.
void setSettingsWord(ComInfo* info, std::size_t index, std::int32_t value);

}  // namespace ac500::host

#endif
