#version 330 core

// The corners of the picture, and where in it they are.

layout(location = 0) in vec2 position;
layout(location = 1) in vec2 cornerInPicture;
out vec2 placeInPicture; // from 0 to 1

void main()
{
    gl_Position = vec4(position, 0.0, 1.0);
    placeInPicture = cornerInPicture;
}
