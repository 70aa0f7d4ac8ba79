#include "strconvert.h"

void strconvert(char* text, const char* from, const char* to) {
    if (text == nullptr || from == nullptr || to == nullptr || *text == '\0')
        return;
    for (char* p = text; *p != '\0'; ++p) {
        for (int i = 0; from[i] != '\0' && to[i] != '\0'; ++i) {
            if (*p == from[i])
                *p = to[i];
        }
    }
}
