// The roots of the box classes.
#pragma once

#include <ios>
#include <vector>

#include "qlip/export.h"
#include "qlip/vorn3gp/stream.h"

namespace Vorn3gp {

class MdatBox;

// What can write itself to a stream and read itself back. `limit` is the size of the file, the same at all
// depths of a tree.
class QLIP_API Archivable {
  public:
    virtual Stream& Dump(Stream& stream) const = 0;
    virtual Stream& Read(Stream& stream, unsigned int limit) = 0;
    virtual ~Archivable();
};

// What can be found again in the stream, to be rewritten in place.
class QLIP_API Rewindable {
  public:
    // Seeks to the place where the box was last read or dumped.
    virtual Stream& GoToStart(Stream& stream) = 0;
    virtual ~Rewindable();
};

// A box header (ISO/IEC 14496-12, 4.2): a 32-bit size and a type.
class QLIP_API Box : public Archivable {
  public:
    Box();  // of type "????"
    explicit Box(unsigned int type);
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;
    ~Box() override;

    // Notes the position and writes the header, with GetSize() as its size.
    Stream& Dump(Stream& stream) const override;

    // Notes the position and reads the header. Throws SimpleException when the box ends beyond `limit`; the
    // sum of position and size is 32-bit and wraps. At or past `limit`, and when the host is at its end
    // behind the header, the box is Reset instead: the end of the stream is not a failure.
    Stream& Read(Stream& stream, unsigned int limit) override;

    // Back to size 0 and type "????". The position stays.
    virtual void Reset();

    // The size that the box would have if it were dumped now.
    virtual unsigned int GetSize() const;

    // The size that the file gave it.
    virtual unsigned int GetSizeWhole() const;

    // Reads the box and seeks back to its start.
    virtual Stream& Peek(Stream& stream, unsigned int limit);

    // The type word, in file byte order.
    unsigned int GetType() const { return type; }

    // Seeks behind the box, by the size that the file gave it.
    Stream& Skip(Stream& stream);

    mutable std::streampos position = -1;  // of the first byte; -1 until read or dumped
    unsigned int size = 0;                 // as the file gave it; 0 until read
    unsigned int type;
};

// Writes a box: its Dump.
QLIP_API Stream& operator<<(Stream& stream, const Box& box);

// The type word of the next box, "????" at or past `limit` and at the end of the stream. The stream stays
// where it was. A box that ends beyond `limit` throws here already.
QLIP_API unsigned int peek_box(Stream& stream, unsigned int limit);

// The two times of a movie, track or media header. Stands behind the box header and has none of its own.
class QLIP_API Timed : public Archivable {
  public:
    Timed();  // both times are now
    Timed(const Timed&) = delete;
    Timed& operator=(const Timed&) = delete;
    ~Timed() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    virtual unsigned int GetSize() const;        // 8
    virtual std::streampos GetPosition() const;  // 0

    // Seconds since 1904-01-01, cut to 32 bits.
    static unsigned int GetCurrentTimestamp();

    unsigned int creation_time;
    unsigned int modification_time;
};

// A box with version and flags. The version is stored and never consulted.
class QLIP_API FullBox : public Box {
  public:
    FullBox(unsigned int type, unsigned char version, unsigned int flags);
    ~FullBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned char version;
    unsigned int flags;  // 24 bits
};

// A box of boxes. Children of the types that a container knows are its named members; all others are its
// optional boxes.
//
// Every child comes with an owned flag, and owned children are deleted with the container. Read owns all that
// it makes. Where a Set* operation replaces an owned child, the replaced one stays, since somebody may still
// hold it, and is deleted with the box that owned it; only those of MinfBox delete it at once. A replaced
// child that its holder deletes, or attaches elsewhere, is no longer the first owner's.
class QLIP_API ContainerBox : public Box {
  public:
    ContainerBox();  // of type "????"
    explicit ContainerBox(unsigned int type);
    ~ContainerBox() override;

    void AddOptionalBox(Box* box, bool owned);

    std::vector<Box*> optional_boxes;
    std::vector<bool> optional_owned;
};

// A box that the model does not know. Its contents are skipped and lost: a dump writes 8 bytes of header.
class QLIP_API UnknownBox : public Box {
  public:
    UnknownBox();
    ~UnknownBox() override;

    Stream& Read(Stream& stream, unsigned int limit) override;
};

// Boxes with values that are known only after the media data was written.

// Takes positions or sizes of chunks from a written MdatBox, entry by entry, as far as both the entries here
// and the chunks there go; entries are never added.
class QLIP_API Fixupable : public Rewindable {
  public:
    virtual void FixupVideo(MdatBox* mdat) = 0;
    virtual void FixupVideoHint(MdatBox* mdat) = 0;
    virtual void FixupAudio(MdatBox* mdat) = 0;
    virtual void FixupAudioHint(MdatBox* mdat) = 0;
};

class QLIP_API FixupableDims : public Rewindable {
  public:
    virtual void SetDimensions(unsigned int width, unsigned int height) = 0;
};

class QLIP_API FixupableTime : public Rewindable {
  public:
    virtual void SetTimescale(unsigned int new_timescale, unsigned int old_timescale) = 0;
    virtual void SetDuration(unsigned int new_duration) = 0;
    virtual unsigned int GetTimescale() const = 0;
    virtual unsigned int GetDuration() const = 0;
};

}  // namespace Vorn3gp

// The free read functions stand at global scope; this one is found there too.
using Vorn3gp::peek_box;
