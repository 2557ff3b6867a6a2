#version 450
layout(location = 0) in vec3 vPosition;
layout(location = 1) in vec3 vNormal;
layout(set = 0, binding = 1) uniform Scene {
    vec3 up;
    vec3 sky;
    vec3 ground;
    vec3 base;
    vec3 fog;
    float density;
};
layout(location = 0) out vec4 colour;

void main() {
    float thickness = length(vPosition) * density;
    float visible = exp(-thickness * thickness);
    vec3 lit = base * mix(ground, sky, 0.5 * dot(normalize(vNormal), up) + 0.5);
    colour = vec4(mix(fog, lit, clamp(visible, 0.0, 1.0)), 1.0);
}
