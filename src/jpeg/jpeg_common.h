// Result codes shared by every part of the JPEG library, and the one way it
// allocates: failures come back as values, never as exceptions.
#pragma once

#include <cstdint>
#include <memory>
#include <new>

namespace jpeg {

constexpr int JPEGERR_SUCCESS = 0;
constexpr int JPEGERR_EFAILED = 1;
constexpr int JPEGERR_EMALLOC = 2;
constexpr int JPEGERR_ENULLPTR = 3;
constexpr int JPEGERR_EBADPARM = 4;
constexpr int JPEGERR_EBADSTATE = 5;
constexpr int JPEGERR_EUNSUPPORTED = 6;
constexpr int JPEGERR_EUNINITIALIZED = 7;
constexpr int JPEGERR_TAGABSENT = 8;
constexpr int JPEGERR_THUMBNAIL_DROPPED = 10;

template <typename T>
std::unique_ptr<T> make_nothrow()
{
	return std::unique_ptr<T>(new (std::nothrow) T());
}

}  // namespace jpeg
