// What an apply did with the device's tools, for its result page. Each step
// it runs is recorded by a name the user knows, with the status the program
// logs for it ("... returns %d"); "{OUTCOME}" then says that every step
// worked, or which step failed, with its status and what to do next, above a
// small table of the steps. A page may add notes (what the user still has to
// do for a change to take effect). Texts come in the page's two languages:
// German when the request's language begins with "deutsc", else English.
// Nothing here changes what a page runs, stores or logs.
#pragma once

#include <string>

struct Words {
    const char* en;
    const char* de;
};
// The text in the request's language.
const char* words(const Words& w);

// What to do: a text in which "[N]" stands for a link to page N (items 2, 19,
// 20, 26, 27, 29, 43 and 46), named as the menu names it.
using Advice = Words;

// One step of an apply, as the user would call it, and what to do when it failed.
struct Step {
    Words name;
    const Advice* advice;
};

// The advice most steps share.
extern const Advice ADVICE_RETRY;       // try again, then restart the router
extern const Advice ADVICE_CA_PASSWORD; // the authority's password, or no authority yet

// Records a step that ran and returned status (0: it worked); returns status.
int outcome_step(const Step& step, int status);
// Records a step that failed without a tool status of its own.
void outcome_failure(const Step& step);
// A note shown after the steps, whatever they did.
void outcome_note(const Advice& note);

bool outcome_recorded();  // a step or a note was recorded

// The escaped block for "{OUTCOME}": the empty text when nothing was recorded.
std::string outcome_block();
// Puts outcome_block() into "{OUTCOME}".
void outcome_fill();
// Forgets everything recorded.
void outcome_reset();

