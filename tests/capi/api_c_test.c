/* Calls every fx_ function from plain C99: the values against a second
 * route (UNIKDATA bars against price columns, streams against batches,
 * library entries against the same text compiled directly), and every
 * refusal for its status. */
#include <fenxi/fenxi_api.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int passed, failed;

#define CHECK(cond)                                                            \
    do {                                                                       \
        if (cond) {                                                            \
            ++passed;                                                          \
        } else {                                                               \
            ++failed;                                                          \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
        }                                                                      \
    } while (0)

/* A call's status; a failure must also leave a message, a success none. */
#define STATUS(call, want)                                                                           \
    do {                                                                                             \
        int got_ = (call);                                                                           \
        if (got_ == (want) && (got_ == FX_OK) == (fx_last_error()[0] == '\0')) {                     \
            ++passed;                                                                                \
        } else {                                                                                     \
            ++failed;                                                                                \
            fprintf(stderr, "%s:%d: %s gave %d, want %d (%s)\n", __FILE__, __LINE__, #call, got_, (want), \
                    fx_last_error());                                                                \
        }                                                                                            \
    } while (0)

/* Equal bits, or both NaN. */
static int same(double a, double b) { return (isnan(a) && isnan(b)) || memcmp(&a, &b, sizeof a) == 0; }

static int same_lines(double *const *a, double *const *b, int lines, int n) {
    int k, i;
    for (k = 0; k < lines; ++k)
        for (i = 0; i < n; ++i)
            if (!same(a[k][i], b[k][i])) return 0;
    return 1;
}

enum { N = 600, L = 3 };

static UNIKDATA bars[N];
static double open_[N], high_[N], low_[N], close_[N], volume_[N], amount_[N];
static double store[4][L][N];
static double *batch[L] = {store[0][0], store[0][1], store[0][2]};
static double *other[L] = {store[1][0], store[1][1], store[1][2]};
static double *third[L] = {store[2][0], store[2][1], store[2][2]};

static void make_bars(void) {
    int i;
    for (i = 0; i < N; ++i) { /* a zigzag around 10.00 with a drift */
        int32_t c = 1000 + (i % 97) * 3 - (i % 13) * 5 + i / 7;
        bars[i].Date = 20200101 + i % 28;
        bars[i].Open = c - 2 + i % 5;
        bars[i].High = c + 6;
        bars[i].Low = c - 7;
        bars[i].Close = c;
        bars[i].Volume = 10000u + (uint64_t)(i % 17) * 300u;
        bars[i].Amount = 1.0e6 + i;
        open_[i] = bars[i].Open / 100.0;
        high_[i] = bars[i].High / 100.0;
        low_[i] = bars[i].Low / 100.0;
        close_[i] = bars[i].Close / 100.0;
        volume_[i] = (double)bars[i].Volume;
        amount_[i] = bars[i].Amount;
    }
}

static fx_columns columns_of(int32_t count, int32_t unit) {
    fx_columns c;
    memset(&c, 0, sizeof c);
    c.open = open_;
    c.high = high_;
    c.low = low_;
    c.close = close_;
    c.volume = volume_;
    c.amount = amount_;
    c.count = count;
    c.unit = unit;
    return c;
}

static void registry(void) {
    int32_t count = 0, k, j, index = -1, code = 0, params = 0, lines = 0, def = 0, lo = 0, hi = 0;
    const char *name = NULL, *measure = NULL;
    STATUS(fx_operation_count(&count), FX_OK);
    CHECK(count > 50);
    for (k = 0; k < count; ++k) {
        STATUS(fx_operation_name(k, &name), FX_OK);
        STATUS(fx_operation_find(name, &index), FX_OK);
        CHECK(index == k);
        STATUS(fx_operation_code(k, &code), FX_OK);
        CHECK(code >= -1);
        STATUS(fx_operation_param_count(k, &params), FX_OK);
        CHECK(params >= 0 && params <= 10);
        for (j = 0; j < params; ++j) {
            STATUS(fx_operation_param(k, j, &name, &def, &lo, &hi), FX_OK);
            CHECK(name[0] != '\0' && lo <= def && def <= hi);
        }
        STATUS(fx_operation_line_count(k, &lines), FX_OK);
        CHECK(lines >= 1 && lines <= 7);
        for (j = 0; j < lines; ++j) {
            STATUS(fx_operation_line(k, j, &name, &measure), FX_OK);
            CHECK(!strcmp(measure, "price") || !strcmp(measure, "percent") || !strcmp(measure, "count"));
        }
        STATUS(fx_operation_param(k, params, &name, &def, &lo, &hi), FX_ERR_RANGE);
        STATUS(fx_operation_line(k, lines, &name, &measure), FX_ERR_RANGE);
    }
    /* MACD as the registry lists it, found by name in any case and by code. */
    STATUS(fx_operation_find("macd", &index), FX_OK);
    STATUS(fx_operation_code(index, &code), FX_OK);
    {
        char text[16];
        int32_t by_code = -1;
        sprintf(text, "%d", (int)code);
        STATUS(fx_operation_find(text, &by_code), FX_OK);
        CHECK(by_code == index);
    }
    STATUS(fx_operation_param(index, 0, &name, &def, &lo, &hi), FX_OK);
    CHECK(!strcmp(name, "SHORT") && def == 12);
    STATUS(fx_operation_param(index, 2, &name, &def, &lo, &hi), FX_OK);
    CHECK(!strcmp(name, "M") && def == 9);
    STATUS(fx_operation_line(index, 1, &name, &measure), FX_OK);
    CHECK(!strcmp(name, "DEA") && !strcmp(measure, "price"));

    STATUS(fx_operation_count(NULL), FX_ERR_NULL);
    STATUS(fx_operation_find("NOSUCH", &index), FX_ERR_UNKNOWN);
    STATUS(fx_operation_find(NULL, &index), FX_ERR_NULL);
    STATUS(fx_operation_find("MACD", NULL), FX_ERR_NULL);
    STATUS(fx_operation_name(-1, &name), FX_ERR_RANGE);
    STATUS(fx_operation_name(count, &name), FX_ERR_RANGE);
    STATUS(fx_operation_name(0, NULL), FX_ERR_NULL);
    STATUS(fx_operation_code(count, &code), FX_ERR_RANGE);
    STATUS(fx_operation_code(0, NULL), FX_ERR_NULL);
    STATUS(fx_operation_param_count(-5, &params), FX_ERR_RANGE);
    STATUS(fx_operation_param_count(0, NULL), FX_ERR_NULL);
    STATUS(fx_operation_param(index, -1, &name, &def, &lo, &hi), FX_ERR_RANGE);
    STATUS(fx_operation_param(index, 0, &name, NULL, &lo, &hi), FX_ERR_NULL);
    STATUS(fx_operation_line_count(count, &lines), FX_ERR_RANGE);
    STATUS(fx_operation_line_count(0, NULL), FX_ERR_NULL);
    STATUS(fx_operation_line(index, 0, NULL, &measure), FX_ERR_NULL);
}

static void compute(void) {
    const int32_t macd[3] = {12, 26, 9}, eleven[11] = {0}, zero[1] = {0};
    int32_t lines = 0, unit = 0;
    double *holes[L];
    UNIKDATA made[N], bad;
    fx_columns c = columns_of(N, 100);

    /* The same MACD from integer bars, from columns at unit 100 and from
     * columns with the unit chosen. */
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, L, N, &lines), FX_OK);
    CHECK(lines == 3 && !isnan(batch[0][0]) && batch[2][N - 1] != 0.0);
    STATUS(fx_compute_columns("MACD", macd, 3, &c, other, L, N, &lines), FX_OK);
    CHECK(lines == 3 && same_lines(batch, other, L, N));
    c.unit = 0;
    STATUS(fx_compute_columns("macd", NULL, 0, &c, third, L, N, &lines), FX_OK); /* the defaults */
    CHECK(same_lines(batch, third, L, N));
    STATUS(fx_make_bars(&c, made, N, &unit), FX_OK);
    CHECK(unit == 100 && made[N - 1].Close == bars[N - 1].Close && made[7].High == bars[7].High);
    CHECK(made[9].Volume == bars[9].Volume && made[0].Date == 0); /* no date column: 0 */

    /* Zero bars compute nothing; the arrays may be null, not the list. */
    holes[0] = holes[1] = holes[2] = NULL;
    STATUS(fx_compute_bars("MACD", macd, 3, NULL, 0, 100, NULL, L, 0, &lines), FX_ERR_NULL);
    STATUS(fx_compute_bars("MACD", macd, 3, NULL, 0, 100, holes, L, 0, &lines), FX_OK);
    CHECK(lines == 3);

    /* Refusals. */
    lines = 0;
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, NULL, 0, N, &lines), FX_ERR_BUFFER);
    CHECK(lines == 3); /* the count asked for */
    lines = 0;
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, 2, N, &lines), FX_ERR_BUFFER);
    CHECK(lines == 3);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, L, N - 1, &lines), FX_ERR_BUFFER);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, -1, N, &lines), FX_ERR_RANGE);
    holes[0] = batch[0];
    holes[2] = batch[2];
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, holes, L, N, &lines), FX_ERR_NULL);
    STATUS(fx_compute_bars("NOSUCH", macd, 3, bars, N, 100, batch, L, N, &lines), FX_ERR_UNKNOWN);
    STATUS(fx_compute_bars(NULL, macd, 3, bars, N, 100, batch, L, N, &lines), FX_ERR_NULL);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, L, N, NULL), FX_ERR_NULL);
    STATUS(fx_compute_bars("MACD", eleven, 11, bars, N, 100, batch, L, N, &lines), FX_ERR_PARAM);
    STATUS(fx_compute_bars("MACD", macd, -1, bars, N, 100, batch, L, N, &lines), FX_ERR_PARAM);
    STATUS(fx_compute_bars("MACD", NULL, 3, bars, N, 100, batch, L, N, &lines), FX_ERR_NULL);
    STATUS(fx_compute_bars("MACD", zero, 1, bars, N, 100, batch, L, N, &lines), FX_ERR_PARAM);
    STATUS(fx_compute_bars("MACD", macd, 3, NULL, N, 100, batch, L, N, &lines), FX_ERR_NULL);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, -1, 100, batch, L, N, &lines), FX_ERR_RANGE);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, FX_MAX_BARS + 1, 100, batch, L, FX_MAX_BARS + 1, &lines),
           FX_ERR_RANGE);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 0, batch, L, N, &lines), FX_ERR_RANGE);
    bad = bars[5];
    bars[5].High = bars[5].Low - 1;
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, other, L, N, &lines), FX_ERR_BARS);
    bars[5] = bad;

    STATUS(fx_compute_columns("MACD", macd, 3, NULL, batch, L, N, &lines), FX_ERR_NULL);
    c.close = NULL;
    STATUS(fx_compute_columns("MACD", macd, 3, &c, batch, L, N, &lines), FX_ERR_NULL);
    c = columns_of(N, 3); /* not a power of ten */
    STATUS(fx_compute_columns("MACD", macd, 3, &c, other, L, N, &lines), FX_ERR_RANGE);
    c = columns_of(N, 0);
    close_[3] = -close_[3];
    STATUS(fx_compute_columns("MACD", macd, 3, &c, other, L, N, &lines), FX_ERR_BARS);
    close_[3] = -close_[3];
    c.count = -2;
    STATUS(fx_compute_columns("MACD", macd, 3, &c, other, L, N, &lines), FX_ERR_RANGE);
    c = columns_of(N, 0);
    STATUS(fx_compute_columns("MACD", macd, 3, &c, other, L, N - 1, &lines), FX_ERR_BUFFER);
    STATUS(fx_make_bars(&c, made, N - 1, &unit), FX_ERR_BUFFER);
    STATUS(fx_make_bars(&c, NULL, N, &unit), FX_ERR_NULL);
    STATUS(fx_make_bars(NULL, made, N, &unit), FX_ERR_NULL);
    STATUS(fx_make_bars(&c, made, N, NULL), FX_ERR_NULL);
    c.high = NULL;
    STATUS(fx_make_bars(&c, made, N, &unit), FX_ERR_NULL);
    CHECK(same_lines(batch, third, L, N)); /* nothing written by a refusal */
}

static void streams(void) {
    const int32_t macd[3] = {12, 26, 9}, huge[1] = {100000000};
    fx_stream *s = NULL;
    double values[L], before[L];
    int32_t lines = 0, i, k, all = 1;
    int64_t size = -1;
    UNIKDATA forming, bad;

    STATUS(fx_stream_create("MACD", macd, 3, 100, &s), FX_OK);
    STATUS(fx_stream_line_count(s, &lines), FX_OK);
    CHECK(lines == 3);
    for (i = 0; i < N; ++i) {
        STATUS(fx_stream_append(s, &bars[i], values, L, &lines), FX_OK);
        for (k = 0; k < L; ++k) all = all && same(values[k], batch[k][i]);
    }
    CHECK(all); /* every bar's values as the batch gives them */
    STATUS(fx_stream_size(s, &size), FX_OK);
    CHECK(size == N);
    forming = bars[N - 1];
    forming.Close += 40;
    forming.High += 40;
    memcpy(before, values, sizeof values);
    STATUS(fx_stream_replace_last(s, &forming, values, L, &lines), FX_OK);
    CHECK(values[0] != before[0]);
    STATUS(fx_stream_replace_last(s, &bars[N - 1], values, L, &lines), FX_OK);
    CHECK(memcmp(values, before, sizeof values) == 0);

    /* Refusals leave the stream as it was. */
    bad = bars[0];
    bad.Low = bad.High + 1;
    STATUS(fx_stream_append(s, &bad, values, L, &lines), FX_ERR_BARS);
    bad = bars[0];
    bad.Open = -1;
    STATUS(fx_stream_replace_last(s, &bad, values, L, &lines), FX_ERR_BARS);
    lines = 0;
    STATUS(fx_stream_append(s, &bars[0], values, 2, &lines), FX_ERR_BUFFER);
    CHECK(lines == 3);
    STATUS(fx_stream_append(s, &bars[0], NULL, L, &lines), FX_ERR_NULL);
    STATUS(fx_stream_append(s, NULL, values, L, &lines), FX_ERR_NULL);
    STATUS(fx_stream_append(s, &bars[0], values, L, NULL), FX_ERR_NULL);
    STATUS(fx_stream_append(NULL, &bars[0], values, L, &lines), FX_ERR_NULL);
    STATUS(fx_stream_replace_last(NULL, &bars[0], values, L, &lines), FX_ERR_NULL);
    STATUS(fx_stream_replace_last(s, &bars[0], values, -1, &lines), FX_ERR_RANGE);
    STATUS(fx_stream_size(s, &size), FX_OK);
    CHECK(size == N);
    STATUS(fx_stream_replace_last(s, &bars[N - 1], values, L, &lines), FX_OK);
    CHECK(memcmp(values, before, sizeof values) == 0);
    STATUS(fx_stream_size(NULL, &size), FX_ERR_NULL);
    STATUS(fx_stream_size(s, NULL), FX_ERR_NULL);
    STATUS(fx_stream_line_count(NULL, &lines), FX_ERR_NULL);
    STATUS(fx_stream_line_count(s, NULL), FX_ERR_NULL);
    fx_stream_free(s);
    fx_stream_free(NULL);

    s = NULL;
    STATUS(fx_stream_create("NOSUCH", macd, 3, 100, &s), FX_ERR_UNKNOWN);
    STATUS(fx_stream_create("EMA", huge, 1, 100, &s), FX_ERR_PARAM);
    STATUS(fx_stream_create("MACD", macd, 3, 0, &s), FX_ERR_RANGE);
    STATUS(fx_stream_create("MACD", macd, 99, 100, &s), FX_ERR_PARAM);
    STATUS(fx_stream_create(NULL, macd, 3, 100, &s), FX_ERR_NULL);
    STATUS(fx_stream_create("MACD", macd, 3, 100, NULL), FX_ERR_NULL);
    CHECK(s == NULL);
}

static const char *const kScreen = "MA5:MA(CLOSE,5);\nUP:CLOSE>MA5,NODRAW;";

static void formulas(void) {
    fx_formula *f = NULL, *g = NULL;
    fx_formula_stream *fs = NULL;
    fx_error error;
    const char *name = NULL, *description = NULL, *attribute = NULL;
    const char *const unknown[1] = {"N"};
    const double one[1] = {1};
    int32_t count = -1, overlay = -1, lines = 0, pass = -1, i, k, all = 1, ups = 0;
    int64_t size = -1;
    double values[2], def, lo, hi;
    fx_columns c = columns_of(N, 0);

    /* An error's place: the unknown function on line 2, column 5. */
    STATUS(fx_formula_compile("DIF:EMA(CLOSE,12)-EMA(CLOSE,26);\nDEA:EMAA(DIF,9);", NULL, &f, &error), FX_ERR_SYNTAX);
    CHECK(f == NULL && error.line == 2 && error.column == 5 && strstr(error.message, "EMAA") != NULL);
    CHECK(strstr(fx_last_error(), "2:5:") == fx_last_error());
    STATUS(fx_formula_compile("X:CLOSE+;", NULL, &f, NULL), FX_ERR_SYNTAX); /* no fx_error wanted */
    STATUS(fx_formula_compile(NULL, NULL, &f, &error), FX_ERR_NULL);
    CHECK(error.line == 0 && strstr(error.message, "text") != NULL);
    STATUS(fx_formula_compile("X:C;", NULL, NULL, &error), FX_ERR_NULL);

    STATUS(fx_formula_compile(kScreen, NULL, &f, &error), FX_OK);
    CHECK(error.line == 0 && error.message[0] == '\0');
    STATUS(fx_formula_info(f, &name, &description, &overlay), FX_OK);
    CHECK(name[0] == '\0' && description[0] == '\0' && overlay == 0);
    STATUS(fx_formula_output_count(f, &count), FX_OK);
    CHECK(count == 2);
    STATUS(fx_formula_output_name(f, 1, &name), FX_OK);
    CHECK(!strcmp(name, "UP"));
    STATUS(fx_formula_output_attribute_count(f, 0, &count), FX_OK);
    CHECK(count == 0);
    STATUS(fx_formula_output_attribute_count(f, 1, &count), FX_OK);
    CHECK(count == 1);
    STATUS(fx_formula_output_attribute(f, 1, 0, &attribute), FX_OK);
    CHECK(!strcmp(attribute, "NODRAW"));
    STATUS(fx_formula_param_count(f, &count), FX_OK);
    CHECK(count == 0);

    /* Run: MA5 against the closes averaged here, UP against MA5. */
    STATUS(fx_formula_run_bars(f, bars, N, 100, NULL, NULL, 0, batch, 2, N, &lines), FX_OK);
    CHECK(lines == 2 && isnan(batch[0][3]) && isnan(batch[1][3]));
    for (i = 4; i < N; ++i) {
        double sum = 0;
        for (k = i - 4; k <= i; ++k) sum += bars[k].Close;
        all = all && fabs(batch[0][i] - sum / 500.0) < 1e-12;
        all = all && batch[1][i] == (close_[i] > batch[0][i] ? 1.0 : 0.0);
        ups += batch[1][i] != 0.0;
    }
    CHECK(all && ups > 10 && ups < N - 10);
    STATUS(fx_formula_run_columns(f, &c, NULL, NULL, 0, other, 2, N, &lines), FX_OK);
    CHECK(same_lines(batch, other, 2, N));

    /* The screen's verdict at the last bar and at a bar where UP is 0. */
    STATUS(fx_formula_last_bars(f, bars, N, 100, NULL, NULL, 0, values, 2, &lines, &pass), FX_OK);
    CHECK(same(values[0], batch[0][N - 1]) && same(values[1], batch[1][N - 1]));
    CHECK(pass == (batch[1][N - 1] != 0.0));
    for (i = N - 1; i > 4 && batch[1][i - 1] == batch[1][N - 1]; --i) {}
    STATUS(fx_formula_last_columns(f, &c, NULL, NULL, 0, values, 2, &lines, &pass), FX_OK);
    CHECK(pass == (batch[1][N - 1] != 0.0));
    c.count = i; /* bars 0..i-1: the verdict turns */
    STATUS(fx_formula_last_columns(f, &c, NULL, NULL, 0, values, 2, &lines, &pass), FX_OK);
    CHECK(pass == (batch[1][i - 1] != 0.0) && pass != (batch[1][N - 1] != 0.0));
    c.count = N;
    STATUS(fx_formula_last_bars(f, bars, 0, 100, NULL, NULL, 0, values, 2, &lines, &pass), FX_OK);
    CHECK(pass == 0 && isnan(values[0])); /* no bars do not pass */

    /* A formula stream gives the run's values bar by bar. */
    STATUS(fx_formula_stream_create(f, 100, NULL, NULL, 0, &fs), FX_OK);
    all = 1;
    for (i = 0; i < N; ++i) {
        STATUS(fx_formula_stream_append(fs, &bars[i], values, 2, &lines), FX_OK);
        all = all && same(values[0], batch[0][i]) && same(values[1], batch[1][i]);
    }
    CHECK(all);
    STATUS(fx_formula_stream_replace_last(fs, &bars[N - 2], values, 2, &lines), FX_OK);
    STATUS(fx_formula_stream_replace_last(fs, &bars[N - 1], values, 2, &lines), FX_OK);
    CHECK(same(values[0], batch[0][N - 1]));
    STATUS(fx_formula_stream_size(fs, &size), FX_OK);
    CHECK(size == N);
    STATUS(fx_formula_stream_append(fs, &bars[0], values, 1, &lines), FX_ERR_BUFFER);
    CHECK(lines == 2);
    STATUS(fx_formula_stream_append(NULL, &bars[0], values, 2, &lines), FX_ERR_NULL);
    STATUS(fx_formula_stream_replace_last(fs, NULL, values, 2, &lines), FX_ERR_NULL);
    STATUS(fx_formula_stream_size(NULL, &size), FX_ERR_NULL);
    STATUS(fx_formula_stream_size(fs, &size), FX_OK);
    CHECK(size == N);
    fx_formula_stream_free(fs);
    fx_formula_stream_free(NULL);

    /* The stream keeps its formula alive. */
    STATUS(fx_formula_compile("X:CLOSE*2;", NULL, &g, &error), FX_OK);
    STATUS(fx_formula_stream_create(g, 100, NULL, NULL, 0, &fs), FX_OK);
    fx_formula_free(g);
    STATUS(fx_formula_stream_append(fs, &bars[0], values, 1, &lines), FX_OK);
    CHECK(values[0] == close_[0] * 2);
    fx_formula_stream_free(fs);

    /* Refusals. */
    STATUS(fx_formula_run_bars(f, bars, N, 100, unknown, one, 1, batch, 2, N, &lines), FX_ERR_UNKNOWN);
    STATUS(fx_formula_run_bars(f, bars, N, 100, NULL, one, 1, batch, 2, N, &lines), FX_ERR_NULL);
    STATUS(fx_formula_run_bars(f, bars, N, 100, unknown, one, FX_MAX_ARGS + 1, batch, 2, N, &lines), FX_ERR_RANGE);
    STATUS(fx_formula_run_bars(f, bars, N, 100, NULL, NULL, 0, batch, 1, N, &lines), FX_ERR_BUFFER);
    STATUS(fx_formula_run_bars(f, bars, N, 100, NULL, NULL, 0, batch, 2, N - 1, &lines), FX_ERR_BUFFER);
    STATUS(fx_formula_run_bars(f, bars, N, 0, NULL, NULL, 0, batch, 2, N, &lines), FX_ERR_RANGE);
    STATUS(fx_formula_run_bars(f, NULL, N, 100, NULL, NULL, 0, batch, 2, N, &lines), FX_ERR_NULL);
    STATUS(fx_formula_run_bars(NULL, bars, N, 100, NULL, NULL, 0, batch, 2, N, &lines), FX_ERR_NULL);
    STATUS(fx_formula_run_bars(f, bars, N, 100, NULL, NULL, 0, batch, 2, N, NULL), FX_ERR_NULL);
    STATUS(fx_formula_run_columns(f, NULL, NULL, NULL, 0, batch, 2, N, &lines), FX_ERR_NULL);
    STATUS(fx_formula_run_columns(NULL, &c, NULL, NULL, 0, batch, 2, N, &lines), FX_ERR_NULL);
    STATUS(fx_formula_last_bars(f, bars, N, 100, NULL, NULL, 0, values, 1, &lines, &pass), FX_ERR_BUFFER);
    STATUS(fx_formula_last_bars(f, bars, N, 100, NULL, NULL, 0, values, 2, &lines, NULL), FX_ERR_NULL);
    STATUS(fx_formula_last_bars(f, bars, -3, 100, NULL, NULL, 0, values, 2, &lines, &pass), FX_ERR_RANGE);
    STATUS(fx_formula_last_columns(f, &c, unknown, one, 1, values, 2, &lines, &pass), FX_ERR_UNKNOWN);
    STATUS(fx_formula_last_columns(NULL, &c, NULL, NULL, 0, values, 2, &lines, &pass), FX_ERR_NULL);
    STATUS(fx_formula_stream_create(f, 0, NULL, NULL, 0, &fs), FX_ERR_RANGE);
    STATUS(fx_formula_stream_create(f, 100, unknown, one, 1, &fs), FX_ERR_UNKNOWN);
    STATUS(fx_formula_stream_create(NULL, 100, NULL, NULL, 0, &fs), FX_ERR_NULL);
    STATUS(fx_formula_stream_create(f, 100, NULL, NULL, 0, NULL), FX_ERR_NULL);
    STATUS(fx_formula_info(f, &name, NULL, &overlay), FX_ERR_NULL);
    STATUS(fx_formula_info(NULL, &name, &description, &overlay), FX_ERR_NULL);
    STATUS(fx_formula_output_count(NULL, &count), FX_ERR_NULL);
    STATUS(fx_formula_output_name(f, 2, &name), FX_ERR_RANGE);
    STATUS(fx_formula_output_name(f, 0, NULL), FX_ERR_NULL);
    STATUS(fx_formula_output_attribute_count(f, -1, &count), FX_ERR_RANGE);
    STATUS(fx_formula_output_attribute(f, 1, 1, &attribute), FX_ERR_RANGE);
    STATUS(fx_formula_output_attribute(NULL, 1, 0, &attribute), FX_ERR_NULL);
    STATUS(fx_formula_param_count(NULL, &count), FX_ERR_NULL);
    STATUS(fx_formula_param(f, 0, &name, &def, &lo, &hi), FX_ERR_RANGE);
    STATUS(fx_formula_param(NULL, 0, &name, &def, &lo, &hi), FX_ERR_NULL);
    fx_formula_free(f);
    fx_formula_free(NULL);
}

static const char *const kFile =
    "# two entries\n"
    "FORMULA MYMA \"My average\" OVERLAY\n"
    "PARAM N 5 1 250\n"
    "M:MA(CLOSE,N);\n"
    "END\n"
    "FORMULA MYOSC\n"
    "OSC:CLOSE-MYMA.M(7),COLORSTICK;\n"
    "END\n";

static void libraries(void) {
    fx_library *lib = NULL, *shipped = NULL;
    fx_formula *f = NULL, *g = NULL;
    fx_error error;
    const char *name = NULL, *description = NULL, *file = NULL;
    const char *const n_name[1] = {"n"};
    const double ten[1] = {10}, too_big[1] = {251}, no_value[1] = {NAN};
    fx_formula_stream *fs = NULL;
    int32_t count = -1, overlay = -1, lines = 0;
    double def = 0, lo = 0, hi = 0;
    FILE *out;

    STATUS(fx_library_create(FX_LIBRARY_EMPTY, &lib), FX_OK);
    STATUS(fx_library_entry_count(lib, &count), FX_OK);
    CHECK(count == 0);
    STATUS(fx_library_load_text(lib, kFile, "mine.fx", &error), FX_OK);
    STATUS(fx_library_entry_count(lib, &count), FX_OK);
    CHECK(count == 2);
    STATUS(fx_library_entry(lib, 0, &name, &description, &overlay, &file), FX_OK);
    CHECK(!strcmp(name, "MYMA") && !strcmp(description, "My average") && overlay == 1 && !strcmp(file, "mine.fx"));
    STATUS(fx_library_entry(lib, 1, &name, &description, &overlay, &file), FX_OK);
    CHECK(!strcmp(name, "MYOSC") && overlay == 0);

    /* The entry with N = 10 is the text MA(CLOSE,10), to the bit. */
    STATUS(fx_library_find(lib, "myma", &f), FX_OK);
    STATUS(fx_formula_info(f, &name, &description, &overlay), FX_OK);
    CHECK(!strcmp(name, "MYMA") && overlay == 1);
    STATUS(fx_formula_param_count(f, &count), FX_OK);
    CHECK(count == 1);
    STATUS(fx_formula_param(f, 0, &name, &def, &lo, &hi), FX_OK);
    CHECK(!strcmp(name, "N") && def == 5 && lo == 1 && hi == 250);
    STATUS(fx_formula_run_bars(f, bars, N, 100, n_name, ten, 1, batch, 1, N, &lines), FX_OK);
    STATUS(fx_formula_run_bars(f, bars, N, 100, n_name, too_big, 1, other, 1, N, &lines), FX_ERR_PARAM);
    STATUS(fx_formula_last_bars(f, bars, N, 100, n_name, no_value, 1, other[0], 1, &lines, &overlay), FX_ERR_PARAM);
    STATUS(fx_formula_stream_create(f, 100, n_name, too_big, 1, &fs), FX_ERR_PARAM);
    CHECK(fs == NULL);
    STATUS(fx_formula_compile("X:MA(CLOSE,10);", lib, &g, &error), FX_OK);
    STATUS(fx_formula_run_bars(g, bars, N, 100, NULL, NULL, 0, other, 1, N, &lines), FX_OK);
    CHECK(same_lines(batch, other, 1, N));
    fx_formula_free(g);
    /* A reference to a loaded entry; the formula outlives the library. */
    STATUS(fx_formula_compile("X:MYMA.M(10);", lib, &g, &error), FX_OK);
    STATUS(fx_formula_compile("X:MYMA.M(10);", NULL, &f, &error), FX_ERR_SYNTAX); /* not shipped */
    fx_formula_free(f);

    /* Failed loads add nothing and say where. */
    STATUS(fx_library_load_text(lib, "FORMULA MYMA\nA:C;\nEND\n", "again.fx", &error), FX_ERR_SYNTAX);
    CHECK(error.line == 1 && error.column == 9 && strstr(error.message, "MYMA") != NULL);
    STATUS(fx_library_load_text(lib, "FORMULA OTHER\nA:C+;\nEND\n", "bad.fx", &error), FX_ERR_SYNTAX);
    CHECK(error.line == 2 && error.column > 0);
    STATUS(fx_library_load_file(lib, "no/such/dir/file.fx", &error), FX_ERR_IO);
    CHECK(error.line == 0 && strstr(error.message, "file.fx") != NULL);
    STATUS(fx_library_entry_count(lib, &count), FX_OK);
    CHECK(count == 2);
    out = fopen("api_c_test.fx", "wb");
    CHECK(out != NULL);
    if (out != NULL) {
        fputs("FORMULA FROMFILE\nF:CLOSE;\nEND\n", out);
        fclose(out);
        STATUS(fx_library_load_file(lib, "api_c_test.fx", &error), FX_OK);
        STATUS(fx_library_entry(lib, 2, &name, &description, &overlay, &file), FX_OK);
        CHECK(!strcmp(name, "FROMFILE") && strstr(file, "api_c_test.fx") != NULL);
        remove("api_c_test.fx");
    }

    STATUS(fx_library_find(lib, "NOSUCH", &f), FX_ERR_UNKNOWN);
    STATUS(fx_library_find(lib, NULL, &f), FX_ERR_NULL);
    STATUS(fx_library_find(lib, "MYMA", NULL), FX_ERR_NULL);
    STATUS(fx_library_find(NULL, "MYMA", &f), FX_ERR_NULL);
    STATUS(fx_library_entry(lib, 3, &name, &description, &overlay, &file), FX_ERR_RANGE);
    STATUS(fx_library_entry(lib, 0, &name, &description, &overlay, NULL), FX_ERR_NULL);
    STATUS(fx_library_entry(NULL, 0, &name, &description, &overlay, &file), FX_ERR_NULL);
    STATUS(fx_library_entry_count(NULL, &count), FX_ERR_NULL);
    STATUS(fx_library_entry_count(lib, NULL), FX_ERR_NULL);
    STATUS(fx_library_load_text(lib, NULL, "x.fx", &error), FX_ERR_NULL);
    STATUS(fx_library_load_text(lib, kFile, NULL, &error), FX_ERR_NULL);
    STATUS(fx_library_load_text(NULL, kFile, "x.fx", &error), FX_ERR_NULL);
    STATUS(fx_library_load_file(lib, NULL, &error), FX_ERR_NULL);
    STATUS(fx_library_create(7, &shipped), FX_ERR_RANGE);
    STATUS(fx_library_create(FX_LIBRARY_SHIPPED, NULL), FX_ERR_NULL);
    fx_library_free(lib);
    fx_library_free(NULL);
    STATUS(fx_formula_run_bars(g, bars, N, 100, NULL, NULL, 0, other, 1, N, &lines), FX_OK);
    CHECK(same_lines(batch, other, 1, N));
    fx_formula_free(g);

    /* The shipped entries, each found by its listed name. */
    STATUS(fx_library_create(FX_LIBRARY_SHIPPED, &shipped), FX_OK);
    STATUS(fx_library_entry_count(shipped, &count), FX_OK);
    CHECK(count > 100);
    STATUS(fx_library_entry(shipped, count - 1, &name, &description, &overlay, &file), FX_OK);
    CHECK(strncmp(file, "formulas/", 9) == 0 && description[0] != '\0');
    STATUS(fx_library_find(shipped, name, &f), FX_OK);
    STATUS(fx_formula_output_count(f, &count), FX_OK);
    CHECK(count >= 1);
    fx_formula_free(f);
    fx_library_free(shipped);
}

/* A panel of three securities (the bars, their last 100, none) equals one
 * call per security; a refused security is named and left unwritten. */
static void panel(void) {
    const int32_t macd[3] = {12, 26, 9};
    const UNIKDATA *securities[3] = {bars, bars + N - 100, NULL};
    const int32_t counts[3] = {N, 100, 0}, units[3] = {100, 1000, 100}, bad_units[3] = {100, 0, 100};
    static double many[2][L][N];
    double *out[3 * L] = {many[0][0], many[0][1], many[0][2], many[1][0], many[1][1], many[1][2], NULL, NULL, NULL};
    double *tail[L] = {store[3][0], store[3][1], store[3][2]};
    int32_t lines = 0;
    UNIKDATA keep;

    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, 3, 2, out, L, &lines), FX_OK);
    CHECK(lines == 3);
    STATUS(fx_compute_bars("MACD", macd, 3, bars, N, 100, batch, L, N, &lines), FX_OK);
    CHECK(same_lines(batch, out, L, N));
    STATUS(fx_compute_bars("MACD", macd, 3, bars + N - 100, 100, 1000, tail, L, 100, &lines), FX_OK);
    CHECK(same_lines(tail, out + L, L, 100));

    lines = 0;
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, 3, 1, out, 2, &lines), FX_ERR_BUFFER);
    CHECK(lines == 3);
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, bad_units, 3, 1, out, L, &lines), FX_ERR_RANGE);
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, -1, 1, out, L, &lines), FX_ERR_RANGE);
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, 3, -1, out, L, &lines), FX_ERR_RANGE);
    STATUS(fx_compute_many("MACD", macd, 3, NULL, counts, units, 3, 1, out, L, &lines), FX_ERR_NULL);
    out[4] = NULL;
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, 3, 1, out, L, &lines), FX_ERR_NULL);
    out[4] = many[1][1];
    keep = bars[N - 50];
    bars[N - 50].High = bars[N - 50].Low - 1;
    STATUS(fx_compute_many("MACD", macd, 3, securities, counts, units, 3, 1, out, L, &lines), FX_ERR_BARS);
    CHECK(strstr(fx_last_error(), "security 0") != NULL);
    bars[N - 50] = keep;
}

int main(void) {
    const char *version = fx_version();
    make_bars();
    CHECK(version != NULL && version[0] >= '0' && version[0] <= '9' && strchr(version, '.') != NULL);
    registry();
    compute();
    panel();
    streams();
    formulas();
    libraries();
    printf("%d passed, %d failed\n", passed, failed);
    return failed != 0;
}
