// Tracks on their way to a receiver, frame by frame.
#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "stream/kit_track.h"
#include "stream/stream_reader.h"

namespace qlip_tool {

// The packets of a frame and when to send them, in nanoseconds.
struct Burst {
    int64_t time = 0;
    int64_t duration = 0;
    std::span<const iovec> packets;  // valid until the feed's next call
};

class Feed {
  public:
    Feed() = default;
    virtual ~Feed() = default;
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    // False at the end. Throws ToolError.
    virtual bool next(Burst& burst) = 0;

    // Plays again from the start. What was sent took `length` nanoseconds more, which times and timestamps go
    // on behind.
    virtual void start_over(int64_t length) = 0;

    virtual std::string media_section(unsigned int port) const = 0;

    // Empty for a feed that makes none.
    virtual std::vector<unsigned char> sender_report(uint64_t ntp, int64_t time) const = 0;

    virtual int64_t length() const = 0;  // 0 when unknown
};

// Frames as the host kit makes them.
class KitFeed : public Feed {
  public:
    // Starts where decoding can start at or before `start`, and moves `start` there.
    KitFeed(std::unique_ptr<KitTrack> track, int64_t& start);

    bool next(Burst& burst) override;
    void start_over(int64_t length) override;
    std::string media_section(unsigned int port) const override { return track_->media_section(port); }
    std::vector<unsigned char> sender_report(uint64_t ntp, int64_t time) const override {
        return track_->sender_report(ntp, time - passed_);
    }
    int64_t length() const override { return static_cast<int64_t>(track_->info().duration); }

  private:
    std::unique_ptr<KitTrack> track_;
    int64_t start_;
    uint32_t first_timestamp_;
    int64_t passed_ = 0;  // in the rounds before
};

// The records of a native stream as they are: their own markers, numbers and types.
class RecordFeed : public Feed {
  public:
    using Open = std::function<std::unique_ptr<ChunkSource>()>;
    // The media section for a header, a payload type (0: the codec's own) and a port.
    using Describe = std::function<std::string(const StreamHeader&, unsigned int, unsigned int)>;

    // `usual_type` overrides the type that video records say, unless it is 0.
    RecordFeed(Open open, Describe describe, unsigned int usual_type = 0);

    bool next(Burst& burst) override;
    void start_over(int64_t length) override;
    std::string media_section(unsigned int port) const override;
    std::vector<unsigned char> sender_report(uint64_t, int64_t) const override { return {}; }
    int64_t length() const override { return 0; }

  private:
    void reopen();
    void add(bool marker, unsigned int sequence, uint32_t timestamp, std::span<const unsigned char> payload);
    int64_t advance_to(uint32_t timestamp);
    unsigned int clock() const;

    Open open_;
    Describe describe_;
    std::unique_ptr<ChunkSource> source_;
    std::unique_ptr<StreamReader> reader_;
    Frame frame_ = {};
    unsigned int payload_type_;
    bool takes_types_;
    std::vector<unsigned char> bytes_;
    std::vector<size_t> sizes_;
    std::vector<iovec> packets_;
    bool started_ = false;
    uint32_t last_timestamp_ = 0;
    int64_t ticks_ = 0;   // since the first frame
    int64_t passed_ = 0;  // in the rounds before, in nanoseconds
};

}  // namespace qlip_tool
