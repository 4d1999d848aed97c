// The three arrays that live from open to close: one media sample, one hint sample, and where every media
// sample lies. They are sized by the file's tables, which are not to be trusted with the host's memory.
#include <algorithm>
#include <cstring>
#include <new>

#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;

namespace {

// Up to here a table's word is taken for it; beyond, it must be backed by as many bytes of file.
constexpr unsigned int kUnquestioned = 64 * 1024;

unsigned int largest_of(const std::vector<unsigned int>& sizes) {
    unsigned int largest = 0;
    for (const unsigned int size : sizes)
        largest = std::max(largest, size);
    return largest;
}

unsigned int largest_sample(const Vorn3gp::StszBox* stsz) {
    return stsz->GetSampleSize() != 0 ? stsz->GetSampleSize() : largest_of(stsz->GetChunkSizes());
}

// No sample is longer than the file, and each takes a byte of it at least.
bool is_backed(unsigned int count, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io) {
    return count <= kUnquestioned || count <= GetFileSize(io);
}

// An array whose memory is as it comes. More than the file has bytes is refused like memory that is not
// there.
template <class Element>
Element* allocated(unsigned int count, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int& status,
                   const char* refusal) {
    Element* array = is_backed(count, io) ? new (std::nothrow) Element[count] : nullptr;
    if (array) return array;
    status = QLIP_NO_MEMORY;
    throw SimpleException(kReaderPath, __LINE__, "%s", refusal);
}

unsigned char* zeroed(unsigned int count, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int& status,
                      const char* refusal) {
    unsigned char* bytes = allocated<unsigned char>(count, io, status, refusal);
    std::memset(bytes, 0, count);
    return bytes;
}

}  // namespace

void C3gpInterface::AllocBuffers() {
    const unsigned int media_bytes = largest_sample(m_Boxes.m_pStsz);
    QLIP_LOG_DEBUG(kReaderPath, "Allocating %d bytes for media sample buffer", media_bytes);
    m_pMediaBuffer =
        zeroed(media_bytes, m_pIOCallback, m_uStatus, "Unable to allocate buffer for media sample");
    m_uMediaBufferBytes = media_bytes;

    // An entry has two words; the line tells of one each: kept for readers of logs [offset-table-log].
    QLIP_LOG_DEBUG(kReaderPath, "Allocating %d bytes for media sample offset buffer",
                   m_uMediaSampleCount * 4);
    m_pSampleInfo = allocated<_TAG_SAMPLEINFO>(m_uMediaSampleCount, m_pIOCallback, m_uStatus,
                                               "Unable to allocate memory for sample offset table");
    try {
        AllocHintBuffer();
    } catch (...) {  // the object counts as open all the same
        std::fill_n(m_pSampleInfo, m_uMediaSampleCount, _TAG_SAMPLEINFO{});
        throw;
    }
}

void C3gpInterface::AllocHintBuffer() {
    // Sizes left over from the file before (see StoreTrackTables) are walked like the others, so they count.
    // The line does not tell of them.
    const unsigned int hint_size = m_Boxes.m_HintBoxes.m_pStsz->GetSampleSize();
    const unsigned int largest = largest_of(m_SampleSizes);
    QLIP_LOG_DEBUG(kReaderPath, "Allocating %d bytes for hint sample buffer",
                   hint_size != 0 ? hint_size : largest);
    m_pHintBuffer = zeroed(largest, m_pIOCallback, m_uStatus, "Unable to allocate buffer for hint sample");

    // A call walks over bad hint samples until it finds a good one, so a count of them that costs no bytes of
    // file would keep it busy for hours. A table of sizes is such bytes.
    if (hint_size != 0 && !is_backed(m_uHintSampleCount, m_pIOCallback)) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__, "The file has no room for %d hint samples",
                              m_uHintSampleCount);
    }
}

void C3gpInterface::FreeBuffers() {
    delete[] m_pMediaBuffer;
    delete[] m_pHintBuffer;
    delete[] m_pSampleInfo;
    m_pMediaBuffer = nullptr;
    m_uMediaBufferBytes = 0;
    m_pHintBuffer = nullptr;
    m_pSampleInfo = nullptr;
}

void C3gpInterface::FailWithoutBuffers() const {
    throw SimpleException(kReaderPath, __LINE__, "%s: No track was opened", m_pszModeName);
}
