#pragma once

/// What an x86-64 processor can do beyond its family's common ground. Kernels of other families ask
/// nothing here. Each call asks the processor, which is slow in a virtual machine: keep the answer.
namespace Tovra::Platform {

/// @return whether code built with -msha -msse4.1 runs
bool HasShaInstructions();

/// @return whether code built with -mpclmul -msse4.1 runs
bool HasCarrylessMultiply();

}  // namespace Tovra::Platform
