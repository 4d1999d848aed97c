/*
 * The version of libqlip that a program is built with. It is stated here and nowhere else: the build, the
 * file names of the libraries and the packages take it from here. docs/abi.md says what the three numbers
 * promise.
 */
#ifndef QLIP_VERSION_H
#define QLIP_VERSION_H

#define QLIP_VERSION_MAJOR 1
#define QLIP_VERSION_MINOR 0
#define QLIP_VERSION_PATCH 0
#define QLIP_VERSION_NUMBER(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))
#define QLIP_VERSION QLIP_VERSION_NUMBER(QLIP_VERSION_MAJOR, QLIP_VERSION_MINOR, QLIP_VERSION_PATCH)

#endif
