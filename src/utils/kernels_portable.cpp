#include "utils/aes/aeskernels.h"
#include "utils/crckernels.h"
#include "utils/sha1kernels.h"

namespace Tovra::Utils {

namespace {

constexpr Kernel<AesBlocks> s_aesEncryptKernels[] = {{"portable", nullptr, aesEncryptPortable}};
constexpr Kernel<AesBlocks> s_aesDecryptKernels[] = {{"portable", nullptr, aesDecryptPortable}};
constexpr Kernel<Sha1Blocks> s_sha1Kernels[] = {{"portable", nullptr, sha1BlocksPortable}};
constexpr Kernel<CrcRun> s_crc16Kernels[] = {{"portable", nullptr, crc16Portable}};
constexpr Kernel<CrcRun> s_crc32Kernels[] = {{"portable", nullptr, crc32Portable}};

}  // namespace

std::span<const Kernel<AesBlocks>> aesEncryptKernels() { return s_aesEncryptKernels; }
std::span<const Kernel<AesBlocks>> aesDecryptKernels() { return s_aesDecryptKernels; }
std::span<const Kernel<Sha1Blocks>> sha1Kernels() { return s_sha1Kernels; }
std::span<const Kernel<CrcRun>> crc16Kernels() { return s_crc16Kernels; }
std::span<const Kernel<CrcRun>> crc32Kernels() { return s_crc32Kernels; }

}  // namespace Tovra::Utils
