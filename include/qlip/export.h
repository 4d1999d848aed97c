/* Marks what the shared library offers to a host; everything else stays hidden. */
#ifndef QLIP_EXPORT_H
#define QLIP_EXPORT_H

#define QLIP_API __attribute__((visibility("default")))

#endif
