/* 32-bit programs of today ask for the time in 64 bits, which Debian's 32-bit libfaketime passes by. Preloaded
   beside it, this answers them by the 32-bit calls that it knows. Built without a C library of 32 bits. */
struct Time32 {
    long seconds;
    long fraction;
};
struct Time64 {
    long long seconds;
    long long fraction; /* 32 bits and as many that nobody reads */
};

int clock_gettime(int clock, struct Time32* time);
int gettimeofday(struct Time32* time, void* zone);

static int widen(int result, const struct Time32* from, struct Time64* to) {
    to->seconds = from->seconds;
    to->fraction = from->fraction;
    return result;
}

int __clock_gettime64(int clock, struct Time64* time) {
    struct Time32 narrow;
    return widen(clock_gettime(clock, &narrow), &narrow, time);
}

int __gettimeofday64(struct Time64* time, void* zone) {
    struct Time32 narrow;
    return widen(gettimeofday(&narrow, zone), &narrow, time);
}

long long __time64(long long* time) {
    struct Time32 narrow;
    gettimeofday(&narrow, 0);
    if (time) *time = narrow.seconds;
    return narrow.seconds;
}
