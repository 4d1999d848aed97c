#include "kit/sample_feed.h"

namespace qlip::kit {
namespace {

int cut_at(int number, const char* what, uint64_t needed, Trouble& trouble) {
    return trouble.tell(QLIP_CORRUPT_FILE, "the file is cut: %s %d reaches to byte %llu", what, number + 1,
                        static_cast<unsigned long long>(needed));
}

}  // namespace

int end_of_track(const iso_track* track, Trouble& trouble) {
    if (all_samples_kept(track)) return QLIP_END_OF_FILE;
    return trouble.tell(QLIP_CORRUPT_FILE,
                        "the tables of track %u speak of more samples than the %d that have places",
                        track->track_id, track->sample_count);
}

int refusal_of(const EngineIo& io, const char* what, int number, Trouble& trouble) {
    const auto needed = static_cast<unsigned long long>(io.needed());
    switch (io.refusal()) {
        case QLIP_NOT_AVAILABLE_YET:
            return trouble.tell(QLIP_NOT_AVAILABLE_YET,
                                "%s %d is not there yet: the file must reach %llu bytes", what, number + 1,
                                needed);
        case QLIP_IO_CALLBACK_FAILED:
            return trouble.tell(QLIP_IO_CALLBACK_FAILED, "the source could not be read in front of byte %llu",
                                needed);
        default:
            return cut_at(number, what, io.needed(), trouble);
    }
}

int SampleFeed::next(unsigned char* to, unsigned int room, Sample& sample) {
    while (true) {
        if (track_->sample >= track_->sample_count) return end_of_track(track_, trouble_);
        sample = {track_->sample, size_of_sample(track_, track_->sample), times_.decode(),
                  times_.presentation(), times_.duration()};
        if (const int status = check(sample, room); status != QLIP_SUCCESS) return status;
        io_.forget_refusal();
        const int got = isoFFread(track_, to, static_cast<int>(sample.size), nullptr, nullptr);
        if (got != static_cast<int>(sample.size)) return refusal_of(io_, "sample", sample.number, trouble_);
        times_.next();
        delivered_ += sample.size;
        if (sample.size != 0) return QLIP_SUCCESS;
    }
}

// Room is made for the largest sample, but not for more than a complete file holds.
int SampleFeed::check(const Sample& sample, unsigned int room) {
    if (sample.size > kLargestSample) return pass_over(sample);
    if (sample.size > room) return cut_at(sample.number, "sample", end_of(sample), trouble_);
    if (delivered_ + sample.size > known_size_) return check_claim(sample);
    return QLIP_SUCCESS;
}

uint64_t SampleFeed::end_of(const Sample& sample) const {
    return uint64_t{track_->file_pos} + sample.size;
}

// A file holds each byte once. A track whose samples come to more shares them out several times over. A
// sample that reaches beyond the file is not there at all, which reading it will tell.
int SampleFeed::check_claim(const Sample& sample) {
    const uint64_t claimed = delivered_ + sample.size;
    known_size_ = source_.size();
    if (claimed <= known_size_ || end_of(sample) > known_size_) return QLIP_SUCCESS;
    if (source_.growing()) {
        io_.refuse(QLIP_NOT_AVAILABLE_YET, claimed);
        return refusal_of(io_, "sample", sample.number, trouble_);
    }
    return trouble_.tell(QLIP_CORRUPT_FILE,
                         "the track claims more than its file holds: %llu bytes up to sample %d",
                         static_cast<unsigned long long>(claimed), sample.number + 1);
}

int SampleFeed::pass_over(const Sample& sample) {
    times_.next();
    if (isoFFsetPosition(track_, sample.number + 1) != 0) track_->sample = track_->sample_count;
    return trouble_.tell(QLIP_NOT_SUPPORTED, "sample %d of %u bytes is larger than what is taken",
                         sample.number + 1, sample.size);
}

int SampleFeed::move_to(int sample) {
    if (isoFFsetPosition(track_, sample) != 0)
        return trouble_.tell(QLIP_CORRUPT_FILE, "sample %d does not exist", sample + 1);
    times_.move_to(sample);
    delivered_ = 0;
    return QLIP_SUCCESS;
}

int SampleFeed::blame(const Sample& sample, const char* what) {
    return trouble_.tell(QLIP_CORRUPT_FILE, "sample %d is damaged: %s", sample.number + 1, what);
}

int SampleFeed::too_many_packets(const Sample& sample) {
    return trouble_.tell(QLIP_NOT_SUPPORTED, "sample %d of %u bytes falls into more packets than are taken",
                         sample.number + 1, sample.size);
}

}  // namespace qlip::kit
