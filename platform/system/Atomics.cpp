// Built on the compiler's own operations, because the published types are plain integers, which
// std::atomic_ref does not take when they are volatile.

#include <CarbonCore/DriverSynchronization.h>
#include <libkern/OSAtomic.h>

int32_t OSAtomicAdd32(int32_t theAmount, volatile int32_t* theValue) {
    return __atomic_add_fetch(theValue, theAmount, __ATOMIC_SEQ_CST);
}

Boolean CompareAndSwap(UInt32 oldValue, UInt32 newValue, volatile UInt32* address) {
    return __atomic_compare_exchange_n(address, &oldValue, newValue, false, __ATOMIC_SEQ_CST,
                                       __ATOMIC_SEQ_CST)
               ? 1
               : 0;
}
