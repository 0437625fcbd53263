// SPDX-License-Identifier: MIT
#include "FreeTypeFaults.h"

#include FT_CACHE_H
#include FT_GLYPH_H
#include FT_MODULE_H

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include <dlfcn.h>

namespace {

struct Planned {
    int after; // calls to let through first
    FT_Error error;
};

FreeTypeFaults* current = nullptr;
std::map<std::string, Planned> planned;
bool hit = false;
long untilFailure = 0; // 0: no allocation fails
bool failFromThenOn = false;
long allocations = 0;
long loads = 0; // look-ups in the glyph cache that allocated
std::set<void*> blocks;
FT_Memory original = nullptr; // the library's own memory; libraries of all fonts share it

bool AllocationFails()
{
    if (untilFailure == 0)
        return false;
    if (untilFailure > 1) {
        --untilFailure;
        return false;
    }
    if (!failFromThenOn)
        untilFailure = 0;
    hit = true;
    return true;
}

// Makes and releases a block full of 0xA5, which the next block of that size is likely to be.
void LeaveOldBytes(std::size_t size)
{
    void* const block = std::malloc(size);
    // Volatile: bytes that nobody reads would be left unwritten.
    volatile unsigned char* const bytes = static_cast<unsigned char*>(block);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = 0xA5;
    std::free(block);
}

void* Allocate(FT_Memory, long size)
{
    if (AllocationFails())
        return nullptr;
    ++allocations;
    if (current && current->dirty)
        LeaveOldBytes(static_cast<std::size_t>(size));
    void* block = original->alloc(original, size);
    blocks.insert(block);
    return block;
}

void Release(FT_Memory, void* block)
{
    blocks.erase(block);
    original->free(original, block);
}

void* Reallocate(FT_Memory, long oldSize, long size, void* block)
{
    if (AllocationFails())
        return nullptr;
    ++allocations;
    blocks.erase(block);
    block = original->realloc(original, oldSize, size, block);
    blocks.insert(block);
    return block;
}

// The arguments as text, one blank between them.
template <class... Values> std::string Text(const Values&... values)
{
    std::ostringstream text;
    const char* blank = "";
    ((text << blank << values, blank = " "), ...);
    return text.str();
}

// The constant that stands for the one face.
std::size_t Number(FTC_FaceID id) { return reinterpret_cast<std::size_t>(id); }

FT_MemoryRec_ watched = {nullptr, Allocate, Release, Reallocate};

// FreeType's own function of that name.
template <class Function> Function Real(Function, const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (!found)
        throw std::logic_error(std::string("FreeType has no ") + name);
    Function function;
    static_assert(sizeof function == sizeof found, "POSIX makes them alike");
    std::memcpy(&function, &found, sizeof function);
    return function;
}

// Notes the call; the error that it is to return, or 0 to let it through.
FT_Error Noted(const char* name, const std::string& arguments = "")
{
    if (!current)
        return 0;
    current->calls.push_back(name);
    current->arguments.push_back(arguments);
    const auto plan = planned.find(name);
    if (plan == planned.end() || plan->second.after-- > 0)
        return 0;
    const FT_Error error = plan->second.error;
    planned.erase(plan);
    hit = true;
    return error;
}

} // namespace

FreeTypeFaults::FreeTypeFaults()
{
    current = this;
    planned.clear();
    hit = false;
    untilFailure = 0;
    allocations = 0;
    loads = 0;
}

FreeTypeFaults::~FreeTypeFaults()
{
    current = nullptr;
    untilFailure = 0;
    for (void* block : std::set<void*>(blocks))
        Release(&watched, block);
}

void FreeTypeFaults::Fail(const std::string& name, FT_Error error, int which)
{
    planned[name] = {which - 1, error};
}

void FreeTypeFaults::FailAllocation(long which, bool fromThenOn)
{
    untilFailure = which;
    failFromThenOn = fromThenOn;
    hit = false;
}

bool FreeTypeFaults::Hit() const { return hit; }

long FreeTypeFaults::LiveBlocks() const { return static_cast<long>(blocks.size()); }

long FreeTypeFaults::GlyphsLoaded() const { return loads; }

extern "C" {

FT_Error FT_New_Library(FT_Memory memory, FT_Library* library)
{
    if (const FT_Error error = Noted("FT_New_Library"))
        return error;
    static const auto real = Real(&FT_New_Library, "FT_New_Library");
    if (!current)
        return real(memory, library);
    original = memory;
    return real(&watched, library);
}

FT_Error FT_Done_Library(FT_Library library)
{
    if (const FT_Error error = Noted("FT_Done_Library"))
        return error;
    static const auto real = Real(&FT_Done_Library, "FT_Done_Library");
    return real(library);
}

FT_Error FT_New_Face(FT_Library library, const char* path, FT_Long index, FT_Face* face)
{
    if (const FT_Error error = Noted("FT_New_Face", Text(path, index)))
        return error;
    static const auto real = Real(&FT_New_Face, "FT_New_Face");
    return real(library, path, index, face);
}

FT_Error FT_Done_Face(FT_Face face)
{
    if (const FT_Error error = Noted("FT_Done_Face"))
        return error;
    static const auto real = Real(&FT_Done_Face, "FT_Done_Face");
    return real(face);
}

FT_Error FT_Select_Charmap(FT_Face face, FT_Encoding encoding)
{
    if (const FT_Error error =
            Noted("FT_Select_Charmap", Text(encoding == FT_ENCODING_UNICODE ? "unic" : "another")))
        return error;
    static const auto real = Real(&FT_Select_Charmap, "FT_Select_Charmap");
    return real(face, encoding);
}

FT_Error FT_Glyph_Copy(FT_Glyph source, FT_Glyph* target)
{
    if (const FT_Error error = Noted("FT_Glyph_Copy")) {
        *target = nullptr;
        return error;
    }
    static const auto real = Real(&FT_Glyph_Copy, "FT_Glyph_Copy");
    return real(source, target);
}

FT_Error FT_Glyph_To_Bitmap(FT_Glyph* glyph, FT_Render_Mode mode, const FT_Vector* origin,
                            FT_Bool destroy)
{
    if (const FT_Error error =
            Noted("FT_Glyph_To_Bitmap",
                  Text(mode, origin ? "origin" : "no origin", destroy ? "destroys" : "keeps")))
        return error;
    static const auto real = Real(&FT_Glyph_To_Bitmap, "FT_Glyph_To_Bitmap");
    const FT_Error error = real(glyph, mode, origin, destroy);
    if (!error && current && current->rendered)
        current->rendered(reinterpret_cast<FT_BitmapGlyph>(*glyph)->bitmap);
    return error;
}

FT_Error FTC_Manager_New(FT_Library library, FT_UInt faces, FT_UInt sizes, FT_ULong bytes,
                         FTC_Face_Requester requester, FT_Pointer data, FTC_Manager* manager)
{
    if (const FT_Error error = Noted("FTC_Manager_New", Text(faces, sizes, bytes)))
        return error;
    static const auto real = Real(&FTC_Manager_New, "FTC_Manager_New");
    return real(library, faces, sizes, bytes, requester, data, manager);
}

void FTC_Manager_Done(FTC_Manager manager)
{
    Noted("FTC_Manager_Done");
    static const auto real = Real(&FTC_Manager_Done, "FTC_Manager_Done");
    real(manager);
}

FT_Error FTC_CMapCache_New(FTC_Manager manager, FTC_CMapCache* cache)
{
    if (const FT_Error error = Noted("FTC_CMapCache_New"))
        return error;
    static const auto real = Real(&FTC_CMapCache_New, "FTC_CMapCache_New");
    return real(manager, cache);
}

FT_Error FTC_ImageCache_New(FTC_Manager manager, FTC_ImageCache* cache)
{
    if (const FT_Error error = Noted("FTC_ImageCache_New"))
        return error;
    static const auto real = Real(&FTC_ImageCache_New, "FTC_ImageCache_New");
    return real(manager, cache);
}

FT_Error FTC_Manager_LookupFace(FTC_Manager manager, FTC_FaceID id, FT_Face* face)
{
    if (const FT_Error error = Noted("FTC_Manager_LookupFace", Text(Number(id))))
        return error;
    static const auto real = Real(&FTC_Manager_LookupFace, "FTC_Manager_LookupFace");
    return real(manager, id, face);
}

FT_Int FT_Get_Charmap_Index(FT_CharMap map)
{
    Noted("FT_Get_Charmap_Index");
    static const auto real = Real(&FT_Get_Charmap_Index, "FT_Get_Charmap_Index");
    return real(map);
}

FT_Error FT_Get_Kerning(FT_Face face, FT_UInt left, FT_UInt right, FT_UInt mode, FT_Vector* vector)
{
    if (const FT_Error error = Noted("FT_Get_Kerning", Text(left, right, mode)))
        return error;
    static const auto real = Real(&FT_Get_Kerning, "FT_Get_Kerning");
    return real(face, left, right, mode, vector);
}

FT_UInt FTC_CMapCache_Lookup(FTC_CMapCache cache, FTC_FaceID id, FT_Int map, FT_UInt32 character)
{
    Noted("FTC_CMapCache_Lookup", Text(Number(id), map, character));
    static const auto real = Real(&FTC_CMapCache_Lookup, "FTC_CMapCache_Lookup");
    return real(cache, id, map, character);
}

FT_Error FTC_Manager_LookupSize(FTC_Manager manager, FTC_Scaler scaler, FT_Size* size)
{
    if (const FT_Error error = Noted("FTC_Manager_LookupSize",
                                     Text(Number(scaler->face_id), scaler->width, scaler->height,
                                          scaler->pixel, scaler->x_res, scaler->y_res)))
        return error;
    static const auto real = Real(&FTC_Manager_LookupSize, "FTC_Manager_LookupSize");
    return real(manager, scaler, size);
}

FT_Error FTC_ImageCache_Lookup(FTC_ImageCache cache, FTC_ImageType type, FT_UInt index,
                               FT_Glyph* glyph, FTC_Node* node)
{
    if (const FT_Error error =
            Noted("FTC_ImageCache_Lookup", Text(Number(type->face_id), type->width, type->height,
                                                type->flags, index, node ? "node" : "no node")))
        return error;
    static const auto real = Real(&FTC_ImageCache_Lookup, "FTC_ImageCache_Lookup");
    const long before = allocations;
    const FT_Error error = real(cache, type, index, glyph, node);
    loads += allocations != before;
    return error;
}

} // extern "C"
