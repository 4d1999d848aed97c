// Opening: log level, mode string, the box tree and the order of the steps.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/host_calls.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

namespace {

bool is_switched_on(const char* variable) {
    const char* value = std::getenv(variable);
    return value && std::strcmp(value, "1") == 0;
}

// Both lines are written whatever the level was.
void set_log_level_from_environment() {
    if (is_switched_on("QLIP_LOG_DEBUG")) {
        sx_Debug = 4;
        SimpleException(kReaderPath, __LINE__, "Libqlip: Set log level to DEBUG").Log("");
    }
    if (is_switched_on("QLIP_LOG_DEBUG_VERBOSE")) {
        sx_Debug = 5;
        SimpleException(kReaderPath, __LINE__, "Libqlip: Set log level to DEBUG_VERBOSE").Log("");
    }
}

unsigned int track_id(const Vorn3gp::TrakBox* trak, unsigned int& status) {
    return required(trak->GetTkhd(), "tkhd", status)->GetTrackId();
}

}  // namespace

unsigned int C3gpInterface::Open(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO, const char* pszMode) {
    m_uStatus = QLIP_SUCCESS;
    qlip::guarded(m_uStatus, m_pSimple3gp, pIO, [&] {
        set_log_level_from_environment();
        if (m_uMode != 0) {
            m_uStatus = QLIP_ALREADY_OPEN;
            return;
        }
        Close();
        ParseOpenMode(pszMode);
        m_pIOCallback = pIO;
        if (m_uDirection != qlip::kDirectionRead) {
            m_uStatus = QLIP_NOT_SUPPORTED;
            throw SimpleException(kReaderPath, __LINE__, "Unsupported conversion type");
        }
        if (!qlip::complete(pIO)) {
            m_uStatus = QLIP_BAD_ARGUMENT;
            throw SimpleException(kReaderPath, __LINE__, "Incomplete IO callback interface");
        }
        Open3GPtoZVK();
    });
    return m_uStatus;
}

void C3gpInterface::ParseOpenMode(const char* pszMode) {
    m_uMode = 0;
    m_uDirection = 0;
    try {
        for (const char* next = pszMode ? pszMode : ""; *next; ++next)
            TakeModeSwitch(std::tolower(static_cast<unsigned char>(*next)));
        if (m_uMode == 0) {
            m_uStatus = QLIP_BAD_MODE;
            throw SimpleException(kReaderPath, __LINE__, "Mode not specified");
        }
        if (m_uDirection == 0) {
            m_uStatus = QLIP_BAD_MODE;
            throw SimpleException(kReaderPath, __LINE__, "Direction not specified");
        }
    } catch (...) {
        m_uMode = 0;
        m_uDirection = 0;
        qlip::rethrow_as_simple();
    }
}

void C3gpInterface::TakeModeSwitch(int iSwitch) {
    QLIP_LOG_DEBUG(kReaderPath, "Switch [%c] found", iSwitch);
    switch (iSwitch) {
        case 'r':
            m_uDirection = qlip::kDirectionRead;
            break;
        case 'a':
            m_uMode = qlip::kModeAudio;
            m_pszModeName = "AUDIO";
            break;
        case 'v':
            m_uMode = qlip::kModeVideo;
            m_pszModeName = "VIDEO";
            break;
        default:
            m_uStatus = QLIP_BAD_MODE;
            throw SimpleException(kReaderPath, __LINE__, "Invalid/unsupported mode switch [%c] specified",
                                  iSwitch);
    }
}

// The codec is found by a look at the first hint sample, so the tables and buffers come before the
// properties; the producer copies what it needs from the tree, so it comes before the tree goes.
void C3gpInterface::Open3GPtoZVK() {
    const auto forget = [this](qlip::OpenTree* file) {
        ForgetTracks();
        file->release_boxes();
    };
    std::unique_ptr<qlip::OpenTree, decltype(forget)> tree(new (std::nothrow) qlip::OpenTree, forget);
    m_pSimple3gp = tree.get();
    if (!m_pSimple3gp) {
        m_uStatus = QLIP_NO_MEMORY;
        throw SimpleException(kReaderPath, __LINE__, "Could not create 3gp object");
    }
    Read3gpBoxes();
    ValidateTracks();
    StoreTrackTables();
    AllocBuffers();
    tree->media_bytes = qlip::bytes_of_samples(*m_Boxes.m_pStsz);
    CalcSampleOffsets(&m_Boxes, m_pSampleInfo);
    Parse3gpBoxes();
    CreateFileObjects();
    tree.reset();
    Vorn3gp::macro_Seek(m_pIOCallback, 0);
}

void C3gpInterface::Read3gpBoxes() {
    try {
        QLIP_LOG_DEBUG(kReaderPath, "Read3gpBoxes(): m_pIOCallback=0x%x, m_pIOCallback->pUserContext=0x%x",
                       qlip::printed(m_pIOCallback), qlip::printed(m_pIOCallback->pUserContext));
        QLIP_LOG_DEBUG(kReaderPath, "Reading 3gp boxes from file");
        m_pSimple3gp->Read(m_pIOCallback, 0);
        QLIP_LOG_DEBUG(kReaderPath, "Reading 3gp boxes complete");
        const auto* ftyp = required(m_pSimple3gp->GetFtyp(), "ftyp", m_uStatus);
        QLIP_LOG_DEBUG(kReaderPath, "Found 3gp major brand: 0x%X", ftyp->GetMajorBrand());
        const auto traks = required(m_pSimple3gp->GetMoov(), "moov", m_uStatus)->GetTraks();
        for (Vorn3gp::TrakBox* trak : traks)
            SortTrack(trak);
    } catch (...) {
        if (m_uStatus == QLIP_SUCCESS) m_uStatus = qlip::status_in_flight(QLIP_CORRUPT_FILE);
        qlip::rethrow_as_simple();
    }
}

// A track of another handler is of no interest, but its boxes must be there all the same.
void C3gpInterface::SortTrack(Vorn3gp::TrakBox* pTrak) {
    const auto* mdia = required(pTrak->GetMdia(), "mdia", m_uStatus);
    const unsigned int handler = required(mdia->GetHdlr(), "hdlr", m_uStatus)->GetHandlerType();
    if (handler == Vorn3gp::type_word("soun")) {
        QLIP_LOG_DEBUG(kReaderPath, "Found audio track");
        m_AudioTracks[track_id(pTrak, m_uStatus)] = pTrak;
    } else if (handler == Vorn3gp::type_word("vide")) {
        QLIP_LOG_DEBUG(kReaderPath, "Found video track");
        m_VideoTracks[track_id(pTrak, m_uStatus)] = pTrak;
    } else if (handler == Vorn3gp::type_word("hint")) {
        SortHintTrack(pTrak);
    }
}

// The first reference is the key, of whatever kind it is; a later hint track for the same media track wins.
void C3gpInterface::SortHintTrack(Vorn3gp::TrakBox* pTrak) {
    QLIP_LOG_DEBUG(kReaderPath, "Found Hint track");
    const auto* tref = required(pTrak->GetTref(), "tref", m_uStatus);
    const auto* reference = required(tref->GetTrackReferenceTypeBox(), "hint", m_uStatus);
    const unsigned int media_track = reference->GetTrackID(0);
    m_HintTracks[media_track] = pTrak;
    const unsigned int hint_track = track_id(pTrak, m_uStatus);
    QLIP_LOG_DEBUG(kReaderPath, "Hint track ID %d is associated with track ID %d", hint_track, media_track);
}

// The tree is about to go, and the tracks with it. Their entries stay and point to nothing.
void C3gpInterface::ForgetTracks() {
    for (TrackMap* tracks : {&m_VideoTracks, &m_AudioTracks, &m_HintTracks})
        for (auto& [id, trak] : *tracks)
            trak = nullptr;
    m_VideoParams.pConfig = nullptr;
}

void C3gpInterface::Parse3gpBoxes() {
    if (m_uMode == qlip::kModeAudio)
        ParseAudioBoxes();
    else
        ParseVideoBoxes();
}
