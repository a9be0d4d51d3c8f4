// The one deleter of the platform: `std::unique_ptr<X509, Freer<X509_free>>`.
#pragma once

namespace platform {

template <auto free>
struct Freer {
    template <class T>
    void operator()(T* object) const {
        static_cast<void>(free(object));
    }
};

}  // namespace platform
