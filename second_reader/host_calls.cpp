// The two ways of reading from the host. Positioned reading takes the size asked for as read, whatever
// arrived.
#include <algorithm>

#include "boxes/checked_calls.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::printed;

namespace {

// Statuses after ConvertStatus that say "not there yet".
constexpr unsigned int kWaitStatuses[] = {5, 13};

unsigned int converted(const _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io, unsigned int status) {
    unsigned int result = status;
    io->ConvertStatus(&result, status);
    return result;
}

}  // namespace

void C3gpInterface::IOFileStreamRead(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& pIO, unsigned char* pData,
                                     unsigned int nBytes, unsigned int uOffset, unsigned int* pnRead) {
    m_uIOStatus = pIO->IndexRead(pIO->pUserContext, pData, uOffset, nBytes, pnRead);
    *pnRead = std::min(*pnRead, nBytes);
    const unsigned int outcome = converted(pIO, m_uIOStatus);
    if (outcome == QLIP_SUCCESS) return;
    if (std::find(std::begin(kWaitStatuses), std::end(kWaitStatuses), outcome) == std::end(kWaitStatuses))
        FailRead(pIO, pData, nBytes, uOffset);
    m_uStatus = QLIP_NOT_AVAILABLE_YET;
    *pnRead = 0;
}

void C3gpInterface::FailRead(const _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO, const unsigned char* pData,
                             unsigned int nBytes, unsigned int uOffset) {
    m_uStatus = QLIP_IO_CALLBACK_FAILED;
    throw SimpleException(
        kReaderPath, __LINE__,
        "IO Callback Interface IndexRead() failed with status: %d.  IO Context: 0x%X  DataPtr: "
        "0x%X  nBytes: %d  Offset: %d",
        m_uIOStatus, printed(pIO->pUserContext), printed(pData), nBytes, uOffset);
}

void C3gpInterface::IOFileStreamAdvance(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& pIO, unsigned int uOffset) {
    if (!m_bIndexedRead) return qlip::seek_to(pIO, uOffset);
    m_uIOStatus = pIO->AdvanceRead(pIO->pUserContext, uOffset);
    if (converted(pIO, m_uIOStatus) == QLIP_SUCCESS) return;
    FailAdvance(pIO, uOffset);
}

void C3gpInterface::FailAdvance(const _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO, unsigned int uOffset) {
    m_uStatus = QLIP_IO_CALLBACK_FAILED;
    throw SimpleException(
        kReaderPath, __LINE__,
        "IO Callback Interface AdvanceRead() failed with status: %d.  IO Context: 0x%X  Offset: %d",
        m_uIOStatus, printed(pIO->pUserContext), uOffset);
}

unsigned int C3gpInterface::ReadIndexed(unsigned char* pData, unsigned int nBytes, unsigned int uOffset) {
    unsigned int read = 0;
    IOFileStreamRead(m_pIOCallback, pData, nBytes, uOffset, &read);
    return read;
}
