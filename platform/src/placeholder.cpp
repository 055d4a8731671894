namespace kp { extern int const placeholder = 0; }
