// The window layer. On Windows these are real dialogs; the headless build
// records what would have been shown, so tests can see it.
#pragma once

// The module's own instance handle, fetched by the entry at every call.
void platformRememberModule();
void* platformModuleHandle();

// A modal refusal: the title, the text and one Cancel button, no owner.
void platformShowRefusal(const char* title, const char* text);

// Headless builds: how many refusals were shown and the last text.
int platformRefusalCount();
const char* platformLastRefusal();
