// Images that the host sends, one frame each, as files of the working directory.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>

#include "storage/files/diagnostic_log.h"
#include "storage/files/system.h"
#include "sync/state_lines.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

enum Status { kHostError1074 = 1074, kNotRequested = 1172, kNoReply = 1173 };
constexpr int kLineFailed = 12;
constexpr int kPiece = 512;

bool writeAll(HANDLE file, const char* bytes, int size) {
  for (int done = 0; done < size;) {
    int written = 0;
    WriteFile(file, bytes + done, static_cast<UInt32>(std::min(size - done, kPiece)), &written);
    if (written < 1) return false;
    done += written;
  }
  return true;
}

bool requestImages(int socket) {
  std::fill_n(netglb->m_buffer, 8, std::uint8_t{0});
  Reset();
  WriteUShort(1);
  WriteByte(static_cast<std::uint8_t>(Request::Images));
  return WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) != 0;
}

// Not under that name, whenever it is tried; a directory may have it.
bool isHopeless(int failure) {
  static constexpr int kHopeless[] = {EISDIR, ENOTDIR, ENAMETOOLONG, EEXIST, ENOTEMPTY, EINVAL, EILSEQ};
  return std::find(std::begin(kHopeless), std::end(kHopeless), failure) != std::end(kHopeless);
}

// What failed must come again.
enum class Image { Stored, PassedOver, Failed };
Image storeImage(const char* name, UInt16 size, const void* data) {
  const auto passOver = [name] {
    Tell(SyncText::ImagePassedOver, name == nullptr ? "" : name);
    return Image::PassedOver;
  };
  const auto fail = [&](int failure) {
    if (isHopeless(failure)) return passOver();
    errno = failure;
    return Image::Failed;
  };
  if (name == nullptr || !IsPlainFileName(name)) return passOver();
  // Beside the old picture first: a line that breaks or a disk that is full must not leave half of one.
  const std::string unfinished = std::string(".") + name + ".new";
  DeleteFile(unfinished.c_str());
  const HANDLE file = CreateFile(unfinished.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS);
  if (file == INVALID_HANDLE_VALUE) return fail(errno);
  const bool whole = writeAll(file, static_cast<const char*>(data), size);
  int failure = errno;
  CloseHandle(file);
  if (whole && fileSystem.rename(unfinished.c_str(), GetWideBmpName(name)) == 0) return Image::Stored;
  if (whole) failure = errno;
  DeleteFile(unfinished.c_str());
  return fail(failure);
}

}  // namespace

const char* GetWideBmpName(const char* name) {
  return name;
}

void WriteImageFile(const char* name, UInt16 size, const void* data) {
  storeImage(name, size, data);
}

int ReceiveBmp(int socket) {
  VerifyBuffers();
  const auto fail = [](int status, int result) {
    netglb->errStatus = status;
    return result;
  };
  if (!requestImages(socket)) return fail(kNotRequested, 1);
  long images = 0, total = 0;
  for (;;) {
    if (ReadSock(netglb->m_buffer, socket) == 0) return fail(kNoReply, kLineFailed);
    std::uint8_t status = 0, kind = 0;
    ReadByte(&status);
    ReadByte(&kind);
    char text[kNetTextRoom];
    if (status == kHostError) {
      ReadString(text);
      Tell(SyncText::HostError, text);
      return fail(kHostError1074, kHostError1074);
    }
    if (status != kDone || kind == kNothingMore) break;
    ReadString(text);
    const auto size = static_cast<std::uint16_t>(ReadShort());
    if (size > netglb->m_buflen - netglb->bIndex) return fail(kNoReply, kLineFailed);
    const Image image = storeImage(text, size, netglb->m_buffer + netglb->bIndex);
    if (image == Image::Failed) {
      TellNotStored(WhyNotStored(text, size, errno));
      return fail(kHostError1074, kHostError1074);
    }
    if (image == Image::PassedOver) continue;
    total += size;
    ++images;
  }
  Tell(SyncText::ImagesReceived, images, total / 1024);
  return 0;
}
