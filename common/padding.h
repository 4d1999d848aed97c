#pragma once

// Bytes from n up to the next multiple of 4.
unsigned int GetPadding(unsigned int n);
