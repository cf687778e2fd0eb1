#pragma once

namespace qel::python {

// Lets Python see qel::Error as qelaudio.Error, with its status.
void RegisterFaults();

} // namespace qel::python
