# 32-bit ARM with glibc, to be sourced: compiler and libraries are Debian's own packages.

# The compiler brings a C library to link with; libc6 and libstdc++6 are to run with.
build_toolchain() {
  debian_unpack armhf "$target/root" libc6 libstdc++6 libssl-dev libcrypt-dev libmnl-dev libnftables-dev \
    libutf8proc-dev libcli11-dev nlohmann-json3-dev libgtest-dev
}

stages=(toolchain)
