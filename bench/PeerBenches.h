#pragma once

namespace qel::bench {

// Registers what Debian's libaubio does of the same kind, on the same audio with the nearest
// settings: peer/NAME, with the name of our own bench as its label.
void RegisterAubioBenches();

// The same with libqm-dsp.
void RegisterQmDspBenches();

} // namespace qel::bench
