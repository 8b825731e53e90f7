// usage: pappl_printer PORT DIRECTORY
//
// An IPP printer made by a library that is not ours, for the tests: it says "ready" when it listens, then takes
// commands on standard input: "levels BLACK CYAN WASTE", "reasons MASK" (of pappl_preason_t), "pages COUNT" (to add).
// It ends with its standard input.
#include <pappl/pappl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static pappl_printer_t* the_printer;

static bool configure(pappl_system_t* system, const char* driver, const char* uri, const char* id,
                      pappl_pr_driver_data_t* data, ipp_t** attributes, void* nothing)
{
    (void)system;
    (void)driver;
    (void)uri;
    (void)id;
    (void)attributes;
    (void)nothing;
    snprintf(data->make_and_model, sizeof data->make_and_model, "Vela P200");
    data->has_supplies = true;
    data->ppm = 10;
    data->format = "application/vnd.vela";
    data->orient_default = IPP_ORIENT_NONE;
    data->color_supported = PAPPL_COLOR_MODE_AUTO | PAPPL_COLOR_MODE_MONOCHROME;
    data->color_default = PAPPL_COLOR_MODE_AUTO;
    data->content_default = PAPPL_CONTENT_AUTO;
    data->quality_default = IPP_QUALITY_NORMAL;
    data->scaling_default = PAPPL_SCALING_AUTO;
    data->raster_types = PAPPL_PWG_RASTER_TYPE_SGRAY_8;
    data->sides_supported = PAPPL_SIDES_ONE_SIDED;
    data->sides_default = PAPPL_SIDES_ONE_SIDED;
    data->num_resolution = 1;
    data->x_resolution[0] = data->y_resolution[0] = data->x_default = data->y_default = 300;
    data->num_media = 1;
    data->media[0] = "iso_a4_210x297mm";
    data->num_source = 1;
    data->source[0] = "main";
    data->num_type = 1;
    data->type[0] = "stationery";
    snprintf(data->media_default.size_name, sizeof data->media_default.size_name, "iso_a4_210x297mm");
    data->media_default.size_width = 21000;
    data->media_default.size_length = 29700;
    snprintf(data->media_default.source, sizeof data->media_default.source, "main");
    snprintf(data->media_default.type, sizeof data->media_default.type, "stationery");
    data->media_ready[0] = data->media_default;
    return true;
}

static void set_levels(int black, int cyan, int waste)
{
    pappl_supply_t supplies[3] = {
        {.color = PAPPL_SUPPLY_COLOR_BLACK, .description = "Black Toner", .is_consumed = true, .level = black,
         .type = PAPPL_SUPPLY_TYPE_TONER},
        {.color = PAPPL_SUPPLY_COLOR_CYAN, .description = "Cyan Toner", .is_consumed = true, .level = cyan,
         .type = PAPPL_SUPPLY_TYPE_TONER},
        {.color = PAPPL_SUPPLY_COLOR_NO_COLOR, .description = "Waste Toner", .is_consumed = false, .level = waste,
         .type = PAPPL_SUPPLY_TYPE_WASTE_TONER},
    };
    papplPrinterSetSupplies(the_printer, 3, supplies);
}

static void* take_commands(void* system)
{
    char line[200];
    while (fgets(line, sizeof line, stdin) != NULL) {
        int a = 0;
        int b = 0;
        int c = 0;
        if (sscanf(line, "levels %d %d %d", &a, &b, &c) == 3) {
            set_levels(a, b, c);
        } else if (sscanf(line, "reasons %i", &a) == 1) {
            papplPrinterSetReasons(the_printer, (pappl_preason_t)a, ~(pappl_preason_t)a);
        } else if (sscanf(line, "pages %d", &a) == 1) {
            papplPrinterSetImpressionsCompleted(the_printer, a);
        }
    }
    papplSystemShutdown(system);
    return NULL;
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        fputs("usage: pappl_printer PORT DIRECTORY\n", stderr);
        return 2;
    }
    char log[500];
    snprintf(log, sizeof log, "%s/log", argv[2]);
    pappl_system_t* system = papplSystemCreate(PAPPL_SOPTIONS_NONE, "Test", atoi(argv[1]), NULL, argv[2], log,
                                               PAPPL_LOGLEVEL_DEBUG, NULL, false);
    static pappl_pr_driver_t drivers[] = {{"vela", "Vela P200", "MFG:Vela;MDL:P200;", NULL}};
    if (system == NULL) {
        return 1;
    }
    papplSystemAddListeners(system, "127.0.0.1");
    papplSystemSetPrinterDrivers(system, 1, drivers, NULL, NULL, configure, NULL);
    the_printer = papplPrinterCreate(system, 0, "Vela in the cellar", "vela", "MFG:Vela;MDL:P200;SN:VP200-0042;",
                                     "file:///dev/null");
    if (the_printer == NULL) {
        return 1;
    }
    set_levels(64, 33, 90);
    papplPrinterSetImpressionsCompleted(the_printer, 777);
    pthread_t thread;
    if (pthread_create(&thread, NULL, take_commands, system) != 0) {
        return 1;
    }
    puts("ready");
    fflush(stdout);
    papplSystemRun(system);
    return 0;
}
