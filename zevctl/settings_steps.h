// The steps of a load: SETs, saves between them, and the way back.
//
// The daemon judges a SET by what is stored, not by what is queued. What it refuses is therefore tried again
// after a save, until nothing more moves. What was set before is noted first: a load that dies is taken back
// by the next one, or by the store before it saves or applies anything.
#pragma once

#include <set>

#include "platform/load_note.h"
#include "zevctl/settings.h"

struct Load {
    const Client &client;
    const SettingsFile &file;
    Settings device;                       // as far as it is known
    Settings before;                       // of all that the load may change
    std::set<Place> set;                   // the lines that were set
    std::map<Place, std::string> refused;  // the lines that were not, and why
    int after_save = 0, opened = 0;
    bool is_unsaved = false;
    bool may_save = false;  // else all is queued only
    bool may_step = false;  // save more than once
    bool may_open = false;
};

// What the device is known to show; empty when that is nothing.
std::string known(const Load &load, const Place &place);
// What the file wants of it; what it is known to show where the file says nothing.
std::string wanted(const Load &load, const Place &place);
// The place of an object that a row's settings depend on: in the same row, or of the row's radio.
Place beside(const Place &place, const Object &object);

// Takes the lock of loads, waits for another one as long as for an answer, and takes back what one that died
// has left. EXIT_DONE with `error` where nothing can be noted.
int begin_load(const Client &client, LoadNote *note, std::string *error);
// Notes the values before. False with errno.
bool note_values(const Load &load, LoadNote *note);

// Sets these lines, in steps where that is allowed, and saves. Unless EXIT_DONE, the note has to stay.
int set_lines(Load *load, const std::vector<Place> &places);
