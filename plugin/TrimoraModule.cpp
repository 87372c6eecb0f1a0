// The module the host loads: all of its code comes from the plug-in's static library.
