// C streams, because they tell why a write failed.
#include "system/whole_file.h"

#include <algorithm>
#include <cerrno>

#include "system/file_access.h"

#if defined(__unix__) || defined(__APPLE__)
#define VORTENA_POSIX 1
#include <fcntl.h>
#endif

namespace vortena {
namespace {

namespace fs = std::filesystem;

#ifdef VORTENA_POSIX
/// For nobody else until it is whole, and not for child processes.
std::FILE* create_exclusively(const fs::path& path) {
  constexpr mode_t kOwnerOnly = 0600;
  const int descriptor = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kOwnerOnly);
  return descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
}

int descriptor_of(std::FILE* file) {
  return fileno(file);
}
#else
std::FILE* create_exclusively(const fs::path& path) {
#ifdef _WIN32
  return _wfopen(path.c_str(), L"wbx");
#else
  return std::fopen(path.c_str(), "wbx");
#endif
}

int descriptor_of(std::FILE* /*file*/) {
  return -1;
}
#endif

}  // namespace

std::streamsize WholeFile::Buffer::xsputn(const char* from, std::streamsize size) {
  const auto wanted = static_cast<std::size_t>(size);
  std::size_t written = 0;
  while (!failure && written < wanted) {
    errno = 0;
    written += std::fwrite(from + written, 1, wanted - written, file);
    if (written < wanted && errno != EINTR) {
      failure = last_system_error();
    }
    std::clearerr(file);
  }
  bytes_written_ += written;
  return static_cast<std::streamsize>(written);
}

WholeFile::Buffer::int_type WholeFile::Buffer::overflow(int_type character) {
  const char c = traits_type::to_char_type(character);
  return xsputn(&c, 1) == 1 ? traits_type::not_eof(character) : traits_type::eof();
}

WholeFile::~WholeFile() {
  if (buffer_.file != nullptr) {
    std::fclose(buffer_.file);
  }
  remove_temporary();
  place_.forget_previous();
}

void WholeFile::remove_temporary() {
  if (!temporary_.empty()) {
    std::error_code ignored;
    fs::remove(temporary_, ignored);
    temporary_.clear();
  }
}

std::error_code WholeFile::claim(const char* path, Existing existing) {
  return place_.claim(path, OutputPlace::Kind::kFile, existing);
}

std::error_code WholeFile::open(const char* path, Existing existing) {
  const std::error_code failure = claim(path, existing);
  return failure ? failure : create();
}

std::error_code WholeFile::create() {
  for (; buffer_.file == nullptr; ++number_) {
    const fs::path name = place_.hidden_name("part", number_);
    errno = 0;
    buffer_.file = create_exclusively(name);
    if (buffer_.file != nullptr) {
      temporary_ = name;
      break;
    }
    if (errno != EEXIST) {
      return last_system_error();
    }
  }
  std::setvbuf(buffer_.file, nullptr, _IONBF, 0);
  return {};
}

std::error_code WholeFile::close() {
  errno = 0;
  const bool closed = std::fclose(buffer_.file) == 0;
  buffer_.file = nullptr;
  return closed ? std::error_code() : last_system_error();
}

std::error_code WholeFile::finish(bool sync) {
  std::error_code failure = buffer_.failure;
  if (!failure) {
    place_.give_rights(descriptor_of(buffer_.file));
  }
  if (!failure && sync) {
    failure = sync_descriptor(descriptor_of(buffer_.file));
  }
  const std::error_code closing = close();
  failure = failure ? failure : closing;
  if (failure) {
    remove_temporary();
  }
  return failure;
}

std::error_code WholeFile::appear(bool sync) {
  if (const std::error_code failure = place_.appear(temporary_)) {
    remove_temporary();
    return failure;
  }
  temporary_.clear();
  return sync ? place_.sync_name() : std::error_code();
}

std::error_code WholeFile::commit(bool sync) {
  const std::error_code failure = finish(sync);
  return failure ? failure : appear(sync);
}

bool WholeFile::replaces_same(const WholeFile& other) const {
  std::error_code failure;
  return place_.target() == other.place_.target() ||
         (fs::equivalent(place_.hidden_name("part", other.number_), other.temporary_, failure) && !failure);
}

/// The files of a set.
class Together {
 public:
  explicit Together(std::deque<WholeFile>& files) : files_(files) {}

  TogetherFailure appear() {
    for (WholeFile& file : files_) {
      file.place_.keep_previous();
    }
    for (std::size_t k = 0; k < files_.size(); ++k) {
      files_[k].place_.put_aside_previous();
      if (const std::error_code failure = files_[k].appear(false)) {
        files_[k].place_.bring_back_previous();
        take_back(k);
        return {failure, k};
      }
    }
    return {};
  }

  TogetherFailure sync() {
    for (std::size_t k = 0; k < files_.size(); ++k) {
      if (const std::error_code failure = files_[k].place_.sync_name()) {
        return {failure, k};
      }
    }
    return {};
  }

 private:
  void take_back(std::size_t count) {
    std::for_each_n(files_.begin(), count, [](WholeFile& file) { file.place_.disappear(); });
  }

  std::deque<WholeFile>& files_;
};

TogetherFailure appear_together(std::deque<WholeFile>& files, bool sync) {
  Together together(files);
  const TogetherFailure failure = together.appear();
  return failure.failure || !sync ? failure : together.sync();
}

}  // namespace vortena
