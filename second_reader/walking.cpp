// Walking the hint track one sample at a time: cursors and counters only, so that a step costs the same
// wherever it is.
#include <algorithm>

#include "second_reader/walking.h"

using qlip::kReaderPath;

void C3gpInterface::FailAtTableEnd(const char* pszTable) const {
    NoteDeadEnd();
    throw SimpleException(kReaderPath, __LINE__, "%s: Iterated off the end of the %s table!", m_pszModeName,
                          pszTable);
}

unsigned int C3gpInterface::GetCurrentHintSample() {
    RequireCurrentSample();
    return ReadHintSample();
}

bool C3gpInterface::AdvanceToNextHintSample() {
    if (m_iHintSample >= m_uHintSampleCount) return false;
    RequireCurrentSample();
    return StepToNextHintSample();
}
