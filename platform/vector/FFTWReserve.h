// Memory for FFTW, which ends the process where it gets none.
//
// The library has a copy of FFTW of its own, in which FFTWReserve.cpp stands in place of FFTW's two
// functions that take memory and give it back. While the system has memory, FFTW gets it from
// there. Where the system has none, FFTW gets of the reserve that was made before it was called.
#pragma once

#include <cstddef>

namespace qel::platform {

// What FFTW may ask for in the thread that made it, while it lives. One for each thread at a time.
class FFTWReserve {
public:
    // `bytes` is the sum of the requests between two times at which all are given back.
    explicit FFTWReserve(std::size_t bytes);
    // Stays for the life of the process where FFTW still has something of it.
    ~FFTWReserve();
    FFTWReserve(const FFTWReserve&) = delete;
    FFTWReserve& operator=(const FFTWReserve&) = delete;

    // False if memory is exhausted. FFTW must not be called then.
    bool IsThere() const { return mStore != nullptr; }

    // The implementation of FFTW's own functions.
    static void* Take(std::size_t bytes);
    static void GiveBack(void* memory);

private:
    struct Store;

    Store* mStore = nullptr;
};

} // namespace qel::platform
