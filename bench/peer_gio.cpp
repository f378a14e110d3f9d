#include "peers.h"

#include <gio/gio.h>

std::size_t ListWithGio(const std::string& Path)
{
    GFile* folder = g_file_new_for_path(Path.c_str());
    GFileEnumerator* enumerator =
        g_file_enumerate_children(folder, "standard::name,standard::type,standard::size,time::modified",
                                  G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
    GPtrArray* infos = g_ptr_array_new_with_free_func(g_object_unref);
    while (GFileInfo* info =
               enumerator != nullptr ? g_file_enumerator_next_file(enumerator, nullptr, nullptr) : nullptr)
    {
        g_ptr_array_add(infos, info);
    }
    g_ptr_array_sort(infos,
                     [](gconstpointer A, gconstpointer B)
                     {
                         auto* a = *static_cast<GFileInfo* const*>(A);
                         auto* b = *static_cast<GFileInfo* const*>(B);
                         const bool aDir = g_file_info_get_file_type(a) == G_FILE_TYPE_DIRECTORY;
                         const bool bDir = g_file_info_get_file_type(b) == G_FILE_TYPE_DIRECTORY;
                         if (aDir != bDir)
                         {
                             return aDir ? -1 : 1;
                         }
                         return g_ascii_strcasecmp(g_file_info_get_name(a), g_file_info_get_name(b));
                     });
    guint64 sink = 0;
    for (guint i = 0; i < infos->len; ++i)
    {
        auto* info = static_cast<GFileInfo*>(g_ptr_array_index(infos, i));
        sink += static_cast<guint64>(g_file_info_get_size(info));
        sink += g_file_info_get_attribute_uint64(info, G_FILE_ATTRIBUTE_TIME_MODIFIED);
    }
    const std::size_t count = sink == 1 ? 0 : infos->len;
    g_ptr_array_unref(infos);
    if (enumerator != nullptr)
    {
        g_object_unref(enumerator);
    }
    g_object_unref(folder);
    return count;
}
