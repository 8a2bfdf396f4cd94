// Marks the few symbols that leave the plug-in. Everything else is built with hidden visibility,
// and the plug-in's export map lists exactly the symbols marked here.
#pragma once

#define KAVO_EXPORT __attribute__((visibility("default")))
