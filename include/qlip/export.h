/* Marks what the shared library offers to a host; everything else stays hidden. */
#ifndef QLIP_EXPORT_H
#define QLIP_EXPORT_H

#define QLIP_API __attribute__((visibility("default")))

/* Keeps a member of an exported class inside the library. */
#define QLIP_LOCAL __attribute__((visibility("hidden")))

#endif
