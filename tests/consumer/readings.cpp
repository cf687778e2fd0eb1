// A reader of tempo: clicks that it makes itself, two per second, are at 120 BPM.
#include <QelReadings.hpp>

#include <cmath>
#include <cstddef>
#include <iostream>
#include <vector>

int main() {
    std::vector<float> samples(20 * 44100);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = i % 22050 < 200 ? (i % 2 == 0 ? 0.5f : -0.5f) : 0;
    }
    qel::readings::Reader reader({qel::readings::Reading::Tempo}, {.sampleRateHz = 44100});
    reader.push(samples);
    const double bpm = reader.finish().tempo->bpm;
    std::cout << bpm << " BPM\n";
    return std::abs(bpm - 120) < 1 ? 0 : 1;
}
