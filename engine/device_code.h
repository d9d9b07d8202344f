#pragma once

// Marks code that kernels run, on GPUs and on the host.
#if defined(__CUDACC__)
#define MIRL_HD __host__ __device__
#else
#define MIRL_HD
#endif
