// Raw key presses. Without any terminal they come from standard input; end of
// input then counts as Esc (27), and _kbhit answers 0 so that nothing is thrown away.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

int _kbhit(void);
int _getch(void);
int _putch(int character);

#ifdef __cplusplus
}
#endif
