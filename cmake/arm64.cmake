# For 64-bit ARM, with Debian's cross compiler. What is built runs under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L /usr/aarch64-linux-gnu)

# The tests that do not run there, by program or name, each with its reason.
set(TAVOK_NOT_EMULATED
  # tavokctl starts tavok by exec, which takes a kernel for arm64, and knows it by /proc/PID/exe, which is qemu.
  tavokctl_tests
)
