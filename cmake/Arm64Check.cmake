message(STATUS "arm64 check pending")
