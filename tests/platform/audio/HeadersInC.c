/* The headers of the audio records, the vector functions and the system calls, compiled as C. */

#include <Accelerate/Accelerate.h>
#include <AudioToolbox/AudioConverter.h>
#include <CarbonCore/DriverSynchronization.h>
#include <CoreAudio/CoreAudioTypes.h>
#include <libkern/OSAtomic.h>
#include <sys/sysctl.h>

#include <stddef.h>

/* What C sees of the records, for the test to compare with what C++ sees. */
size_t SizeOfTimeStampInC(void);
size_t SizeOfTimeStampInC(void) {
    return sizeof(AudioTimeStamp);
}

float SumInC(const float* values, unsigned long count);
float SumInC(const float* values, unsigned long count) {
    float sum = 0.0f;
    vDSP_sve(values, 1, &sum, count);
    return sum;
}
