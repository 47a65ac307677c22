// A firmware image that somebody handed over as an open file, copied to where nobody else can change it, with
// its digest beside it as the library wants it.
#ifndef CONTROL_STAGED_IMAGE_H
#define CONTROL_STAGED_IMAGE_H

#include <string>

class staged_image {
  public:
    staged_image() = default;
    ~staged_image();
    staged_image(const staged_image &) = delete;
    staged_image &operator=(const staged_image &) = delete;

    // Copies the regular file behind `fd` from its beginning into a folder of its own in TMPDIR. Empty when
    // that succeeded, otherwise what is wrong, to follow "the image ". Blocks as long as the copying takes.
    // Once.
    std::string copy(int fd, const std::string &digest);

    const char *path() const
    {
        return path_.c_str();
    }

  private:
    std::string folder_;
    std::string path_;
};

#endif
