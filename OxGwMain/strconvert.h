#pragma once

// Replaces in place each character of text found in from with the character
// at the same index of to. A replaced character is looked up again against the
// rest of from, so a later pair may replace it once more.
void strconvert(char* text, const char* from, const char* to);
