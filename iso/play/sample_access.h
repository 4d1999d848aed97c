#pragma once

#include "qlip/isoff.h"

// Bytes of all samples, modulo 2^32.
unsigned int trackSize(iso_track* track);
