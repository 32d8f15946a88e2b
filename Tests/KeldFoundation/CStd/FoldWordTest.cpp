#include "KeldFoundation/CStd/FoldWord.h"

#include "KeldFoundation/CStd/Hash.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld
{
namespace
{
TEST(FoldWordTest, FoldsEveryByteInEveryPlaceAndNoNeighbour)
{
    for (int byte = 0; byte < 256; ++byte)
    {
        for (const char neighbour : {'\0', 'A', 'Z', '@', '[', '\x7F', '\x80', '\xFF'})
        {
            for (uint_size place = 0; place < sizeof(uint64); ++place)
            {
                std::string text(sizeof(uint64), neighbour);
                text[place] = static_cast<char>(byte);
                std::string folded = text;
                for (char &character : folded)
                {
                    character = FoldCase(character);
                }
                ASSERT_EQ(LoadWord(folded.data()), FoldWord(LoadWord(text.data()))) << byte;
            }
        }
    }
}
} // namespace
} // namespace Keld
