#include <QelMedia.hpp>

namespace qel::media {

Error::Error(Fault fault, const std::string& message)
    : std::runtime_error(message), mFault(fault) {}

Error::Error(const Error& other) noexcept = default;

Error& Error::operator=(const Error& other) noexcept = default;

Error::~Error() = default;

Fault Error::fault() const noexcept {
    return mFault;
}

} // namespace qel::media
