// The note of a load of settings: which one is under way, and what was set before it began. A load that saves
// in steps passes through configurations that nobody asked for; should it die, they must not stay.
//
// Its file is locked as long as the load lives and empty when nothing is to be put back. Whoever finds a note
// that nobody locks puts back what the load has saved: the next load by SETs of the values in the note, the
// store before it saves or applies anything else.
#pragma once

#include <string>
#include <string_view>

constexpr char LOAD_NOTE_FILE[] = "/var/lib/zevcfg/load";

class LoadNote {
  public:
    LoadNote() = default;
    ~LoadNote();
    LoadNote(const LoadNote &) = delete;
    LoadNote &operator=(const LoadNote &) = delete;

    // Opens the file, makes it where it may. False with errno, EPERM when it is not one of root's or of this
    // user's.
    bool open(bool may_make);
    // False with EWOULDBLOCK while a load holds it.
    bool lock();
    // The whole text; empty when there is none, or one of which not all reached the disk: then nothing was
    // saved after it.
    std::string text() const;
    // What tells this load from others: its first line; empty when there is no note.
    std::string id() const;
    // Writes a text of whole lines, the first of which no other load has; on the disk when it returns. False
    // with errno, and nothing is noted.
    bool write(std::string_view text);
    bool clear();

  private:
    int fd_ = -1;
};
