// The conversion driver: banner, options, the two streams, one parse, the
// close-out of open groups, and the dictionary.
#include <cstdio>
#include <cstring>

#include "dictionary/dictionary.h"
#include "driver/banner.h"
#include "layout/layout.h"
#include "model/model.h"
#include "parser/parser.h"

namespace {

// Exit statuses of a run that returns from main.
constexpr int STATUS_DONE = 0;
constexpr int STATUS_NOT_RUN = 1;  // usage text or a stream that would not open

void write_usage()
{
    std::fputs("\nUsage : TARNMAP [Options] [-o csv_file] cobol_file\n", stdout);
    std::fputs("\n    Where cobol_file is the file specification of the COBOL file\n", stdout);
    std::fputs("\n    Option -f enables the output of FILLER fields", stdout);
    std::fputs("\n    Option -s enables the output of Sub-structured fields", stdout);
    std::fputs("\n    Option -t should be used if the COBOL file contains a full record description"
               " without an FD statement", stdout);
    std::fputs("\n    Option -r should be used if the COBOL file contains multiple record descriptions"
               " without FD statements", stdout);
    std::fputs("\n    Option -o should be used to specify the path of the CSV output file\n\n", stdout);
    std::fputs("\n    Option -h should be used when converting HPUX cobol\n\n", stdout);
}

int finish(int status)
{
    return settle_output(status);
}

}  // namespace

int main(int argc, char **argv)
{
    std::fputs(TARNMAP_BANNER, stdout);
    if (argc < 2) {
        write_usage();
        return finish(STATUS_NOT_RUN);
    }

    std::FILE *out = nullptr;       // the dictionary's stream once -o has opened one
    const char *out_path = nullptr; // its path, for a report of a failed write
    bool scanning = true;
    for (int i = 1; i < argc && scanning; ++i) {
        const char *arg = argv[i];
        if (arg[0] != '-') {
            // Only the first file argument counts; later ones are not opened.
            if (state.source == nullptr) {
                state.source = std::fopen(arg, "r");
                if (state.source == nullptr) {
                    std::printf("\nError - Failed to open file %s for input\n\n", arg);
                    return finish(STATUS_NOT_RUN);
                }
            }
            continue;
        }
        for (const char *letter = arg + 1; *letter != '\0'; ++letter) {
            switch (*letter) {
            case 'f': state.hide_fillers = 0; break;
            case 's': state.hide_substructure = 0; break;
            case 't': state.no_fd = 1; break;
            case 'r': state.no_fd = 1; state.multi_record = 1; break;
            case 'h': state.hpux = 1; break;
            case 'u': break;  // accepted for compatibility; changes nothing
            case 'o':
                if (i + 1 >= argc) {
                    std::fputs("\nWARNING: [-o output_file]\n\n", stdout);
                    scanning = false;
                    break;
                }
                // deliberate: the next argument is the path whatever it looks
                // like, and it is created or emptied now, before any parsing.
                if (out != nullptr)
                    std::fclose(out);
                out = std::fopen(argv[i + 1], "w+");
                out_path = argv[i + 1];
                if (out == nullptr) {
                    std::printf("\nError - Failed to open file %s for CSV output\n\n", argv[i + 1]);
                    return finish(STATUS_NOT_RUN);
                }
                ++i;
                break;
            default:
                std::printf("\nERROR: Unknown option -%c\n\n", *letter);
                continue;
            }
            if (*letter == 'o')  // the rest of the cluster is ignored behind o
                break;
        }
    }

    if (out == nullptr)
        out = stdout;
    if (state.source == nullptr)
        state.source = stdin;

    std::fputs("Parsing COBOL data", stdout);
    flush_output();
    yyparse();
    close_final_levels();
    write_dictionary(out);
    // The specified messages are all written by now; a dictionary file that
    // could not be written adds a line of its own and the status says so.
    if (int error = dictionary_file_error()) {
        std::fprintf(stderr, "tarnmap: cannot write %s: %s\n", out_path, std::strerror(error));
        return finish(STATUS_WRITE_FAILED);
    }
    return finish(STATUS_DONE);
}
