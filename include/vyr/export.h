// Symbol visibility for the host interface library (libvyr) and the shader library.
#pragma once

#define VYR_API __attribute__((visibility("default")))
