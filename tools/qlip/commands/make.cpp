// qlip make: a 3GP file from AMR storage files and an H.263 elementary stream.
#include <cmath>
#include <memory>
#include <vector>

#include "commands/commands.h"
#include "host/checks.h"
#include "host/progress.h"
#include "host/tool_error.h"
#include "movie/amr_storage.h"
#include "movie/movie_writer.h"
#include "qlip/h263_isoff.h"
#include "stream/h263_pictures.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Makes a 3GP file from AMR or AMR-WB storage files (RFC 4867 section 5) and an H.263 elementary stream, "
    "one "
    "track\n"
    "of each. Pictures are timed by their temporal references, or evenly with --fps.\n"
    "\n"
    "Examples:\n"
    "  qlip make clip.3gp --amr speech.amr\n"
    "  qlip make clip.3gp --amr speech.amr --h263 pictures.263 --fps 15\n"
    "  qlip make clip.3gp --awb speech.awb --max-size 300000 --direct";

constexpr int kVideoTimescale = 30000;

struct Options {
    std::string out;
    std::string amr;
    std::string awb;
    std::string h263;
    double fps = 0.0;
    MovieOptions movie;
};

// A track with its frames, waiting to be written in the order of time.
class Feed {
  public:
    virtual ~Feed() = default;
    virtual iso_track* add_to(MovieWriter& movie) = 0;
    virtual bool at_end() const = 0;
    virtual void write_next(MovieWriter& movie) = 0;
    virtual uint64_t bytes() const = 0;

    double seconds = 0.0;  // reached so far
    uint64_t written = 0;  // bytes

  protected:
    iso_track* track_ = nullptr;
};

class SpeechFeed : public Feed {
  public:
    SpeechFeed(const std::string& path, AmrStorage::Band band) : storage_(path, band), band_(band) {}

    iso_track* add_to(MovieWriter& movie) override {
        track_ = movie.add_track();
        const bool narrow = band_ == AmrStorage::Band::narrow;
        std::copy_n("soun", 5, track_->handler);
        std::copy_n("qlip", 5, track_->vendor);
        track_->codec = narrow ? ISO_CODEC_SAMR : ISO_CODEC_SAWB;
        track_->timescale = narrow ? 8000 : 16000;
        track_->default_delta = track_->timescale / 50;
        track_->volume = 0x100;
        track_->mode_set = static_cast<unsigned short>(storage_.mode_set());
        track_->frames_per_sample = 1;
        return track_;
    }

    bool at_end() const override { return next_ == storage_.frame_count(); }
    uint64_t bytes() const override { return storage_.size(); }

    void write_next(MovieWriter& movie) override {
        const auto frame = storage_.frame(next_++);
        movie.write(track_, frame, 0);
        written += frame.size();
        seconds += 0.02;
    }

  private:
    AmrStorage storage_;
    AmrStorage::Band band_;
    size_t next_ = 0;
};

class PictureFeed : public Feed {
  public:
    PictureFeed(const std::string& path, double fps) : pictures_(load_h263(path)) {
        for (H263Picture& picture : pictures_) {
            if (fps > 0) picture.seconds = 1.0 / fps;
            bytes_ += picture.data.size();
        }
    }

    iso_track* add_to(MovieWriter& movie) override {
        H263VCFG config = {};
        H263Picture& first = pictures_.front();
        if (h263_get_config(first.data.data(), static_cast<int>(first.data.size()), &config) != 0) {
            throw ToolError(
                Exit::bad_input,
                fmt::format("the first picture is {}, and only sub-QCIF, QCIF and CIF can be written",
                            h263_format(first).name));
        }
        config.timescale = kVideoTimescale;
        config.profile = 0;
        config.level = config.width > 176 ? 30 : 10;
        track_ = h263_isoFFtrack(movie.file(), &config);
        if (!track_) throw ToolError(Exit::io, "no memory for the video track");
        return track_;
    }

    bool at_end() const override { return next_ == pictures_.size(); }
    uint64_t bytes() const override { return bytes_; }

    // Rounded on the running time, so that uneven rates do not drift.
    void write_next(MovieWriter& movie) override {
        const H263Picture& picture = pictures_[next_++];
        const auto begins = static_cast<int64_t>(std::llround(seconds * kVideoTimescale));
        seconds += picture.seconds;
        const auto ends = static_cast<int64_t>(std::llround(seconds * kVideoTimescale));
        movie.write(track_, picture.data, static_cast<int>(ends - begins));
        written += picture.data.size();
    }

  private:
    std::vector<H263Picture> pictures_;
    uint64_t bytes_ = 0;
    size_t next_ = 0;
};

using Feeds = std::vector<std::unique_ptr<Feed>>;

Feeds open_feeds(const Options& options) {
    if ((options.h263 == "-") + (options.amr == "-") + (options.awb == "-") > 1)
        throw ToolError(Exit::usage, "standard input can be read for one track only",
                        "a file for the others");
    Feeds feeds;
    if (!options.h263.empty()) feeds.push_back(std::make_unique<PictureFeed>(options.h263, options.fps));
    if (!options.amr.empty())
        feeds.push_back(std::make_unique<SpeechFeed>(options.amr, AmrStorage::Band::narrow));
    if (!options.awb.empty())
        feeds.push_back(std::make_unique<SpeechFeed>(options.awb, AmrStorage::Band::wide));
    if (feeds.empty()) {
        throw ToolError(Exit::usage, "nothing to put into the file",
                        "--amr, --awb or --h263, see qlip make --help");
    }
    return feeds;
}

// The one that is behind in time, or null when all are written.
Feed* earliest(const Feeds& feeds) {
    Feed* found = nullptr;
    for (const auto& feed : feeds) {
        if (!feed->at_end() && (!found || feed->seconds < found->seconds)) found = feed.get();
    }
    return found;
}

void run(const Options& options) {
    Feeds feeds = open_feeds(options);
    MovieWriter movie(options.out, options.movie, static_cast<int>(feeds.size()),
                      {options.amr, options.awb, options.h263});
    uint64_t total = 0;
    for (const auto& feed : feeds) {
        feed->add_to(movie);
        total += feed->bytes();
    }
    Progress progress("writing", total, "bytes of media");
    uint64_t done = 0;
    while (Feed* feed = earliest(feeds)) {
        const uint64_t before = feed->written;
        feed->write_next(movie);
        done += feed->written - before;
        progress.advance_to(done);
    }
    movie.finish();
}

}  // namespace

void add_make(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("make", "Make a 3GP file from AMR and H.263 files");
    command->footer(kAbout);
    command->add_option("OUT", options->out, "The file to make")->required();
    command->add_option("--amr", options->amr, "AMR storage file")->type_name("FILE");
    command->add_option("--awb", options->awb, "AMR-WB storage file")->type_name("FILE");
    command->add_option("--h263", options->h263, "H.263 elementary stream, or a 3GP file with an H.263 track")
        ->type_name("FILE");
    command->add_option("--fps", options->fps, "Pictures per second, instead of the temporal references")
        ->type_name("N")
        ->check(above_zero());
    options->movie.add_to(*command);
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
