/*
 * fenxi C interface to the operation registry, the columnar computations,
 * streams and formulas. Plain C (C99 or later), for hosts and bindings that
 * cannot call the C++ API.
 *
 * Conventions
 *   - Every name starts with fx_ (FX_ for constants).
 *   - Every function returns an int status: FX_OK (0) or one of the negative
 *     FX_ERR_ codes below. The exceptions are fx_last_error and fx_version,
 *     which return a string, and the fx_*_free functions, which return
 *     nothing and accept null.
 *   - fx_last_error() gives the message of the calling thread's last call
 *     ("" after a call that succeeded).
 *   - Objects are opaque handles made by an fx_*_create, fx_formula_compile
 *     or fx_library_find call and released by the matching fx_*_free.
 *   - Every pointer argument is checked: null gives FX_ERR_NULL unless the
 *     function says the pointer may be null. Counts and indexes are checked:
 *     out of range gives FX_ERR_RANGE. Output arrays too small for the result
 *     give FX_ERR_BUFFER. The sizes of the caller's arrays cannot be checked:
 *     they must hold the counts the caller passes.
 *   - Out-parameters are written only on success (FX_ERR_BUFFER: the count).
 *     An fx_error* (may be null) is always written: cleared on success, the
 *     place (for FX_ERR_SYNTAX) and the message on any failure.
 *   - Bars: UNIKDATA records (fenxi_c.h) at a unit (prices are integers in
 *     units of 1/unit), or price columns of doubles (fx_columns). Values
 *     are doubles in true units; NaN means "no value".
 *   - No C++ exception leaves any function; a failure inside is a status.
 *
 * Thread safety
 *   Registry functions, fx_compute_*, fx_make_bars, fx_last_error and
 *   fx_version may be called from any number of threads at once. A compiled
 *   formula is immutable: its functions may be called on one fx_formula from
 *   many threads at once. A stream (fx_stream, fx_formula_stream) is used by
 *   one thread at a time. A library may be read (entries, find, compiling
 *   against it) from many threads at once, but a load must not overlap any
 *   other call on the same library. Freeing a handle must not overlap any
 *   other call on it.
 */
#ifndef FENXI_FENXI_API_H
#define FENXI_FENXI_API_H

#include "fenxi/fenxi_c.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- statuses ---- */
enum {
    FX_OK = 0,
    FX_ERR_NULL = -1,     /* a required pointer argument is null */
    FX_ERR_RANGE = -2,    /* a count, index or unit is out of range (a unit is > 0; for columns 0 or 10^0..10^6) */
    FX_ERR_UNKNOWN = -3,  /* no operation, entry or parameter of that name */
    FX_ERR_PARAM = -4,    /* parameter count or value refused */
    FX_ERR_BARS = -5,     /* bars refused: negative, non-finite or too large price, high below low, bad volume */
    FX_ERR_BUFFER = -6,   /* an output array is too small; the needed line count is written */
    FX_ERR_SYNTAX = -7,   /* a formula text or file does not compile; see the fx_error */
    FX_ERR_IO = -8,       /* a file cannot be read */
    FX_ERR_MEMORY = -9,   /* out of memory */
    FX_ERR_INTERNAL = -10 /* any other failure inside */
};

/* Largest bar count a call takes, and most parameter values by name. */
#define FX_MAX_BARS 10000000
#define FX_MAX_ARGS 64

/* The calling thread's message for its last call: "" after success. Valid
 * until that thread's next fx_ call. */
FENXI_API const char *FENXI_CALL fx_last_error(void);
/* The library's version, "MAJOR.MINOR.PATCH", static. */
FENXI_API const char *FENXI_CALL fx_version(void);

/* ---- the operation registry ----
 * Operations are numbered 0..count-1 in the order `fenxi list` shows them.
 * Strings are static: valid for the process lifetime. Any thread. */
FENXI_API int FENXI_CALL fx_operation_count(int32_t *count);
/* The index of an operation by name (any case) or indicator code ("14");
 * FX_ERR_UNKNOWN when there is none. */
FENXI_API int FENXI_CALL fx_operation_find(const char *name_or_code, int32_t *index);
FENXI_API int FENXI_CALL fx_operation_name(int32_t op, const char **name);
/* The indicator code of the signal systems' dispatcher, -1 for none. */
FENXI_API int FENXI_CALL fx_operation_code(int32_t op, int32_t *code);
FENXI_API int FENXI_CALL fx_operation_param_count(int32_t op, int32_t *count);
/* Parameter k's name, default and range. */
FENXI_API int FENXI_CALL fx_operation_param(int32_t op, int32_t k, const char **name, int32_t *default_value,
                                            int32_t *min, int32_t *max);
FENXI_API int FENXI_CALL fx_operation_line_count(int32_t op, int32_t *count);
/* Line k's name and what it measures at the default parameters: "price",
 * "percent" or "count". */
FENXI_API int FENXI_CALL fx_operation_line(int32_t op, int32_t k, const char **name, const char **measure);

/* ---- bars as price columns ----
 * open, high, low and close hold `count` prices each; volume, amount, date
 * (yyyymmdd) and time (hhmmss) may be null (0 for every bar). With unit 0 the
 * unit is the largest power of ten up to 10^6 that the prices' decimals need
 * and that keeps every price within 32 bits; otherwise a power of ten
 * 1..10^6. The columns are only read. */
typedef struct fx_columns {
    const double *open, *high, *low, *close;
    const double *volume, *amount;
    const int32_t *date, *time;
    int32_t count;
    int32_t unit;
} fx_columns;

FENXI_STATIC_ASSERT(offsetof(fx_columns, count) == 8 * sizeof(void *), "fx_columns: eight pointers, then count");

/* Converts columns into UNIKDATA records (for streams): bars[0..count) and
 * the unit used. FX_ERR_BUFFER when capacity < count. Any thread. */
FENXI_API int FENXI_CALL fx_make_bars(const fx_columns *columns, UNIKDATA *bars, int32_t capacity, int32_t *unit);

/* ---- computing an operation into caller arrays ----
 * `params` holds param_count values (0..10; null allowed when 0), the
 * registry's defaults for those left out. `lines` holds line_capacity
 * pointers; lines[k] receives line k (registry order) as one value per bar
 * and must have room for value_capacity doubles, at least the bar count.
 * *line_count receives the operation's line count, also on FX_ERR_BUFFER
 * (line_capacity too small: pass 0 and null lines to ask). bars may be null
 * when bar_count is 0; unit > 0. Any thread. */
FENXI_API int FENXI_CALL fx_compute_bars(const char *name, const int32_t *params, int32_t param_count,
                                         const UNIKDATA *bars, int32_t bar_count, int32_t unit, double *const *lines,
                                         int32_t line_capacity, int32_t value_capacity, int32_t *line_count);
FENXI_API int FENXI_CALL fx_compute_columns(const char *name, const int32_t *params, int32_t param_count,
                                            const fx_columns *columns, double *const *lines, int32_t line_capacity,
                                            int32_t value_capacity, int32_t *line_count);

/* ---- panels: one operation over many securities ----
 * Security s has bar_counts[s] bars at bars[s] (null allowed when 0) at
 * unit units[s] > 0. lines[s * line_capacity + k] receives line k of
 * security s, with room for bar_counts[s] doubles; *line_count receives the
 * operation's line count, also on FX_ERR_BUFFER. The values equal
 * fx_compute_bars's for each security; the registry's recurrences run
 * several securities at once in vector lanes. threads: 1 runs on the
 * calling thread, 0 one per core, at most 256. At most FX_MAX_SECURITIES
 * securities and FX_MAX_PANEL_BARS bars in all (the bars are copied). A
 * security whose bars are refused is left unwritten, the others are
 * computed, and FX_ERR_BARS names the lowest-numbered one. Any thread. */
#define FX_MAX_SECURITIES 1000000
#define FX_MAX_PANEL_BARS 50000000
FENXI_API int FENXI_CALL fx_compute_many(const char *name, const int32_t *params, int32_t param_count,
                                         const UNIKDATA *const *bars, const int32_t *bar_counts,
                                         const int32_t *units, int32_t security_count, int32_t threads,
                                         double *const *lines, int32_t line_capacity, int32_t *line_count);

/* ---- streams: one operation over a growing series ----
 * Append adds a bar, replace_last replaces the newest (forming) bar (on an
 * empty stream it appends); each writes the last bar's value of every line
 * into values[0..line_count), equal bit for bit to fx_compute_bars over the
 * same bars. A bar refused (negative price, high below low) or a too small
 * `values` leaves the stream unchanged. One thread at a time per stream. */
typedef struct fx_stream fx_stream;
FENXI_API int FENXI_CALL fx_stream_create(const char *name, const int32_t *params, int32_t param_count, int32_t unit,
                                          fx_stream **stream);
FENXI_API int FENXI_CALL fx_stream_append(fx_stream *stream, const UNIKDATA *bar, double *values, int32_t capacity,
                                          int32_t *line_count);
FENXI_API int FENXI_CALL fx_stream_replace_last(fx_stream *stream, const UNIKDATA *bar, double *values,
                                                int32_t capacity, int32_t *line_count);
FENXI_API int FENXI_CALL fx_stream_line_count(const fx_stream *stream, int32_t *count);
/* Bars appended so far. */
FENXI_API int FENXI_CALL fx_stream_size(const fx_stream *stream, int64_t *size);
FENXI_API void FENXI_CALL fx_stream_free(fx_stream *stream);

/* ---- formulas ---- */
typedef struct fx_formula fx_formula;
typedef struct fx_formula_stream fx_formula_stream;
typedef struct fx_library fx_library;

/* Where and why a text does not compile. */
typedef struct fx_error {
    int32_t line;       /* 1-based; 0 for an error without a place in the text */
    int32_t column;     /* 1-based, in characters */
    char message[504];  /* UTF-8, NUL-terminated, cut at a character boundary */
} fx_error;

FENXI_STATIC_ASSERT(sizeof(fx_error) == 512, "fx_error is 512 bytes");

/* Compiles a NUL-terminated UTF-8 text. References NAME.LINE resolve to the
 * library's entries (the shipped ones when library is null) and to the
 * registry; the formula keeps what it references, so it outlives the
 * library. On FX_ERR_SYNTAX, *error (may be null) receives the place and the
 * message and no handle is made. Any thread. */
FENXI_API int FENXI_CALL fx_formula_compile(const char *text, const fx_library *library, fx_formula **formula,
                                            fx_error *error);
FENXI_API void FENXI_CALL fx_formula_free(fx_formula *formula);

/* The entry's name and description ("" for a text compiled directly) and
 * whether it is drawn over the price bars (1) or not (0). Strings live as
 * long as the formula. */
FENXI_API int FENXI_CALL fx_formula_info(const fx_formula *formula, const char **name, const char **description,
                                         int32_t *overlay);
/* Output lines: count, names, attributes (upper case, as written:
 * COLORSTICK, NODRAW, LINETHICK2 ...). Strings live as long as the formula. */
FENXI_API int FENXI_CALL fx_formula_output_count(const fx_formula *formula, int32_t *count);
FENXI_API int FENXI_CALL fx_formula_output_name(const fx_formula *formula, int32_t k, const char **name);
FENXI_API int FENXI_CALL fx_formula_output_attribute_count(const fx_formula *formula, int32_t k, int32_t *count);
FENXI_API int FENXI_CALL fx_formula_output_attribute(const fx_formula *formula, int32_t k, int32_t j,
                                                     const char **attribute);
/* Parameters (a library entry's PARAM lines; a text compiled directly has
 * none): count, and parameter k's name, default and range. */
FENXI_API int FENXI_CALL fx_formula_param_count(const fx_formula *formula, int32_t *count);
FENXI_API int FENXI_CALL fx_formula_param(const fx_formula *formula, int32_t k, const char **name,
                                          double *default_value, double *min, double *max);

/* Parameter values by name below: arg_names[i] (any case) takes
 * arg_values[i]; others keep their defaults. arg_count 0..FX_MAX_ARGS, the
 * arrays may be null when it is 0. A name the formula does not have gives
 * FX_ERR_UNKNOWN; a value out of range, or one that makes a window length
 * invalid, FX_ERR_PARAM. */

/* Runs the formula over bars, output k into lines[k] (one value per bar;
 * room for value_capacity doubles, at least the bar count). *line_count
 * receives the output count, also on FX_ERR_BUFFER. Any thread. */
FENXI_API int FENXI_CALL fx_formula_run_bars(const fx_formula *formula, const UNIKDATA *bars, int32_t bar_count,
                                             int32_t unit, const char *const *arg_names, const double *arg_values,
                                             int32_t arg_count, double *const *lines, int32_t line_capacity,
                                             int32_t value_capacity, int32_t *line_count);
FENXI_API int FENXI_CALL fx_formula_run_columns(const fx_formula *formula, const fx_columns *columns,
                                                const char *const *arg_names, const double *arg_values,
                                                int32_t arg_count, double *const *lines, int32_t line_capacity,
                                                int32_t value_capacity, int32_t *line_count);
/* A screen: the last bar's value of every output into values[0..line_count)
 * and *pass = 1 when the last output is true there (a number other than 0;
 * NaN and no bars do not pass), else 0. Any thread. */
FENXI_API int FENXI_CALL fx_formula_last_bars(const fx_formula *formula, const UNIKDATA *bars, int32_t bar_count,
                                              int32_t unit, const char *const *arg_names, const double *arg_values,
                                              int32_t arg_count, double *values, int32_t capacity,
                                              int32_t *line_count, int32_t *pass);
FENXI_API int FENXI_CALL fx_formula_last_columns(const fx_formula *formula, const fx_columns *columns,
                                                 const char *const *arg_names, const double *arg_values,
                                                 int32_t arg_count, double *values, int32_t capacity,
                                                 int32_t *line_count, int32_t *pass);

/* A formula over a growing series at a fixed unit, as fx_stream for an
 * operation: the values equal fx_formula_run_bars's last values over the
 * same bars. The stream keeps what it needs of the formula, which may be
 * freed first. One thread at a time per stream. */
FENXI_API int FENXI_CALL fx_formula_stream_create(const fx_formula *formula, int32_t unit,
                                                  const char *const *arg_names, const double *arg_values,
                                                  int32_t arg_count, fx_formula_stream **stream);
FENXI_API int FENXI_CALL fx_formula_stream_append(fx_formula_stream *stream, const UNIKDATA *bar, double *values,
                                                  int32_t capacity, int32_t *line_count);
FENXI_API int FENXI_CALL fx_formula_stream_replace_last(fx_formula_stream *stream, const UNIKDATA *bar,
                                                        double *values, int32_t capacity, int32_t *line_count);
FENXI_API int FENXI_CALL fx_formula_stream_size(const fx_formula_stream *stream, int64_t *size);
FENXI_API void FENXI_CALL fx_formula_stream_free(fx_formula_stream *stream);

/* ---- formula libraries ----
 * A library starts with the shipped entries (FX_LIBRARY_SHIPPED) or none
 * (FX_LIBRARY_EMPTY); loaded files add entries and may not redefine a name
 * already there. On FX_ERR_SYNTAX nothing is added and *error (may be null)
 * says where. Entry strings live until the library's next load or its free.
 * A load must not overlap any other call on the library. */
enum { FX_LIBRARY_EMPTY = 0, FX_LIBRARY_SHIPPED = 1 };
FENXI_API int FENXI_CALL fx_library_create(int32_t start, fx_library **library);
/* `path` in the C runtime's narrow encoding (on Windows the ANSI code page;
 * read the file yourself and use fx_library_load_text for other names). */
FENXI_API int FENXI_CALL fx_library_load_file(fx_library *library, const char *path, fx_error *error);
/* A formula file's text; file_name names it in errors. */
FENXI_API int FENXI_CALL fx_library_load_text(fx_library *library, const char *text, const char *file_name,
                                              fx_error *error);
FENXI_API int FENXI_CALL fx_library_entry_count(const fx_library *library, int32_t *count);
/* Entry k's name, description, overlay flag (1/0) and the file it came from
 * ("formulas/NAME.fx" for a shipped entry). */
FENXI_API int FENXI_CALL fx_library_entry(const fx_library *library, int32_t k, const char **name,
                                          const char **description, int32_t *overlay, const char **file);
/* The compiled entry of that name (any case) as a new formula handle, to be
 * freed with fx_formula_free; it outlives the library. */
FENXI_API int FENXI_CALL fx_library_find(const fx_library *library, const char *name, fx_formula **formula);
FENXI_API void FENXI_CALL fx_library_free(fx_library *library);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* FENXI_FENXI_API_H */
