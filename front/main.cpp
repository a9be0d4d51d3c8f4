// Where the program begins.
#include "front/main_frame.h"

int main(int argumentCount, char** arguments) {
    ExitProcess(kestrel::RunMain(argumentCount, arguments));
}
