#include "iso/write/write_file.h"

#include "iso/write/direct_writing.h"
#include "iso/write/file_layout.h"
#include "iso/write/writer_output.h"

using namespace qlip;

int write_file(iso_file* file) {
    if (!file->stream) {
        set_failed(file);
        return -1;
    }
    if (file->status_flags & ISO_STATUS_DIRECT) return write_direct(file);
    // A failure before close lost only the frame it came with; what is there is still written.
    const unsigned int earlier = file->status_flags & ISO_STATUS_WRITE_FAILED;
    file->status_flags &= ~ISO_STATUS_WRITE_FAILED;
    const int result = write_normal(file);
    file->status_flags |= earlier;
    return result;
}
